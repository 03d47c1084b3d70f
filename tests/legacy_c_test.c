// The legacy C interface, used from C as its callers use it: block arithmetic with its
// deliberate quirks, both reports byte for byte in both forms, and the module listing.
#define _POSIX_C_SOURCE 200809L

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "perflib_legacy.h"

static int failures = 0;

#define CHECK(cond) check((cond), #cond, __LINE__)

static void check(int ok, const char* what, int line) {
  if (!ok) {
    fprintf(stderr, "legacy_c_test.c:%d: check failed: %s\n", line, what);
    ++failures;
  }
}

#define R(field) offsetof(struct _data, field)

// clang-format off
// Every real of the block in field order, without reserved2.
static const size_t reals[] = {
    R(mbits_per_sec), R(alerts_per_sec), R(total_alerts_per_sec), R(kpkts_per_sec),
    R(avg_bytes_per_pkt), R(pat_matched), R(syns_per_sec), R(synacks_per_sec),
    R(new_sessions_per_sec), R(deleted_sessions_per_sec), R(active_sessions),
    R(max_active_sessions), R(stream_flushes_per_sec), R(stream_faults_per_sec),
    R(stream_timeouts), R(frag_creates_per_sec), R(frag_completes_per_sec),
    R(frag_inserts_per_sec), R(frag_deletes_per_sec), R(frag_autofrees_per_sec),
    R(frag_flushes_per_sec), R(current_frags), R(max_frags), R(frag_timeouts), R(frag_faults),
    R(mbits_per_sec_wire), R(mbits_per_sec_ipfrag), R(mbits_per_sec_ipreass),
    R(mbits_per_sec_tcprebuilt), R(mbits_per_sec_app_layer), R(avg_bytes_per_pkt_wire),
    R(avg_bytes_per_pkt_ipfrag), R(avg_bytes_per_pkt_ipreass), R(avg_bytes_per_pkt_tcprebuilt),
    R(avg_bytes_per_pkt_app_layer), R(kpkts_per_sec_wire), R(kpkts_per_sec_ipfrag),
    R(kpkts_per_sec_ipreass), R(kpkts_per_sec_tcprebuilt), R(kpkts_per_sec_app_layer),
    R(new_udp_sessions_per_sec), R(deleted_udp_sessions_per_sec), R(active_udp_sessions),
    R(max_udp_sessions_active), R(max_sessions_interval), R(sessions_initializing),
    R(sessions_established), R(sessions_closing), R(midstream_sessions_per_sec),
    R(closed_sessions_per_sec), R(timed_out_sessions_per_sec), R(pruned_sessions_per_sec),
    R(dropped_async_sessions_per_sec), R(attribute_table_hosts), R(attribute_table_reloads),
    R(mbits_per_sec_mpls), R(avg_bytes_per_pkt_mpls), R(kpkts_per_sec_mpls)};
enum { REALS = sizeof reals / sizeof reals[0] };

static const size_t counts[] = {
    R(pkts_recv), R(pkts_drop), R(block_verdicts), R(filtered_tcp_packets),
    R(filtered_udp_packets), R(injected_packets), R(frag_memory), R(stream_memory)};
// clang-format on
enum { COUNTS = sizeof counts / sizeof counts[0] };

static double* real(struct _data* d, size_t i) {
  return (double*)((char*)d + reals[i]);
}
static uint64_t* count(struct _data* d, size_t i) {
  return (uint64_t*)((char*)d + counts[i]);
}

static struct _data* new_block(void) {
  struct _data* d = NULL;
  CHECK(perflib_createdata(&d) == 0 && d != NULL);
  return d;
}

// Gives the block fresh zero-filled arrays; it owns and frees them.
static void resize(struct _data* d, int32_t cpus, int32_t norms) {
  free(d->cpu);
  free(d->norms);
  free(d->would_norms);
  d->cpu_count = cpus;
  d->cpu = calloc((size_t)cpus, sizeof *d->cpu);
  d->norm_count = norms;
  d->norms = calloc((size_t)norms, sizeof *d->norms);
  d->would_norms = calloc((size_t)norms, sizeof *d->would_norms);
}

// Real i holds base + i + 1.5, count k base + 1001 + k; two normalisation counters.
static void fill(struct _data* d, double base, int32_t cpus, long double drop_rate) {
  resize(d, cpus, 2);
  for (size_t i = 0; i < REALS; ++i) {
    *real(d, i) = base + (double)i + 1.5;
  }
  for (size_t k = 0; k < COUNTS; ++k) {
    *count(d, k) = (uint64_t)base + 1001 + k;
  }
  d->drop_rate = drop_rate;
  for (int32_t i = 0; i < cpus; ++i) {
    struct perflib_cpu c = {base + 10 * i + 1.5, base + 10 * i + 2.5, base + 10 * i + 3.5};
    d->cpu[i] = c;
  }
  for (int32_t i = 0; i < 2; ++i) {
    d->norms[i] = (uint64_t)base + 31 + (uint64_t)i;
    d->would_norms[i] = (uint64_t)base + 41 + (uint64_t)i;
  }
}

static size_t index_of(size_t offset) {
  size_t i = 0;
  while (reals[i] != offset) {
    ++i;
  }
  return i;
}

static void test_createdata_and_setdata(void) {
  struct _data* d = new_block();
  CHECK(d->cpu_count == 1 && d->cpu != NULL && d->cpu[0].idle == 0.0);
  CHECK(d->norm_count == 0 && d->norms == NULL && d->would_norms == NULL);
  CHECK(*real(d, 0) == 0.0 && *count(d, COUNTS - 1) == 0 && d->drop_rate == 0.0L);

  fill(d, 0, 2, 1.0L);
  d->time = 5;
  d->reserved = 6;
  d->reserved2 = 8.0;
  CHECK(setdata(d, -5.0) == 0);
  const size_t max_active = index_of(R(max_active_sessions));
  for (size_t i = 0; i < REALS; ++i) {
    // deliberate: max_active_sessions keeps its old value.
    CHECK(*real(d, i) == (i == max_active ? (double)max_active + 1.5 : -5.0));
  }
  for (size_t k = 0; k < COUNTS; ++k) {
    CHECK(*count(d, k) == 0);
  }
  CHECK(d->drop_rate == -5.0L);
  CHECK(d->cpu_count == 1 && d->cpu[0].user == -5.0 && d->cpu[0].idle == -5.0);
  CHECK(d->time == 5 && d->reserved == 6 && d->reserved2 == 8.0);
  CHECK(d->norm_count == 2 && d->norms[1] == 0 && d->would_norms[1] == 0);

  CHECK(setdata(d, 1e30) == 0);
  CHECK(d->pkts_recv == UINT64_MAX && d->stream_memory == UINT64_MAX);
  CHECK(d->norms[0] == UINT64_MAX && d->would_norms[1] == UINT64_MAX);
  CHECK(setdata(d, 7.9) == 0);
  CHECK(d->block_verdicts == 7 && d->frag_memory == 7 && d->norms[1] == 7);
  CHECK(perflib_freedata(d) == 0);
  CHECK(perflib_freedata(NULL) == 0);
}

static void test_accumdata_and_avgdata(void) {
  struct _data* sum = new_block();
  struct _data* a = new_block();
  struct _data* b = new_block();
  fill(a, 0, 2, 1.0L);
  fill(b, 100, 2, 3.0L);
  a->time = 200;
  b->time = 100;
  a->max_active_sessions = 500.0;
  a->max_udp_sessions_active = 1.0;
  a->pkts_recv = 4;
  b->pkts_recv = 6;
  a->frag_memory = 10;
  b->frag_memory = 7;
  CHECK(accumdata(sum, a) == 0 && accumdata(sum, b) == 0);

  const size_t max_active = index_of(R(max_active_sessions));
  const size_t max_udp = index_of(R(max_udp_sessions_active));
  const size_t frag_timeouts = index_of(R(frag_timeouts));
  CHECK(sum->time == 200 && sum->pkts_recv == 10 && sum->drop_rate == 4.0L);
  CHECK(sum->frag_memory == 7);  // a level: the latest sample's value
  CHECK(sum->max_active_sessions == 500.0 && sum->max_udp_sessions_active == 144.5);
  CHECK(sum->cpu_count == 2 && sum->cpu[1].idle == 13.5 + 113.5);
  CHECK(sum->norm_count == 2 && sum->norms[1] == 32 + 132 && sum->would_norms[0] == 41 + 141);

  avgdata(sum, 0);
  CHECK(sum->pkts_recv == 10 && sum->mbits_per_sec == 103.0);
  avgdata(sum, 4);
  for (size_t i = 0; i < REALS; ++i) {
    const double total = 2.0 * (double)i + 103.0;
    if (i == max_active || i == max_udp) {
      continue;  // maxima stay maxima
    }
    // deliberate: frag_timeouts stays a total over the interval.
    CHECK(*real(sum, i) == (i == frag_timeouts ? total : total / 4.0));
  }
  CHECK(sum->max_active_sessions == 500.0 && sum->max_udp_sessions_active == 144.5);
  CHECK(sum->pkts_recv == 2 && sum->frag_memory == 1 && sum->drop_rate == 1.0L);
  CHECK(sum->cpu[1].idle == 127.0 / 4.0 && sum->norms[1] == 41 && sum->would_norms[0] == 45);
  perflib_freedata(sum);
  perflib_freedata(a);
  perflib_freedata(b);
}

static void test_setdataminmax(void) {
  struct _data* sample = new_block();
  struct _data* min = new_block();
  struct _data* max = new_block();
  fill(sample, 0, 4, 5.0L);
  CHECK(setdata(min, 1e30) == 0);
  min->max_active_sessions = 1e30;
  resize(min, 2, 0);
  min->cpu[0].user = min->cpu[1].user = 1.0;
  CHECK(setdataminmax(sample, min, max) == 0);

  const size_t max_active = index_of(R(max_active_sessions));
  const size_t max_udp = index_of(R(max_udp_sessions_active));
  const size_t stream_timeouts = index_of(R(stream_timeouts));
  for (size_t i = 0; i < REALS; ++i) {
    const int untaken = i == max_active || i == max_udp;  // neither block takes these
    CHECK(*real(max, i) == (untaken ? 0.0 : (double)i + 1.5));
    // deliberate: the minimum's stream_timeouts never changes.
    CHECK(*real(min, i) == (untaken || i == stream_timeouts ? 1e30 : (double)i + 1.5));
  }
  for (size_t k = 0; k < COUNTS; ++k) {
    CHECK(*count(min, k) == 1001 + k && *count(max, k) == 1001 + k);
  }
  CHECK(min->drop_rate == 5.0L && max->drop_rate == 5.0L);
  // Growing keeps the old entries and zero-fills the new ones.
  CHECK(min->cpu_count == 4 && min->cpu[1].user == 1.0 && min->cpu[2].user == 0.0);
  CHECK(max->cpu_count == 4 && max->cpu[3].idle == 33.5);
  CHECK(min->norm_count == 2 && min->norms[1] == 0 && max->norms[1] == 32);
  CHECK(max->would_norms[0] == 41);
  perflib_freedata(sample);
  perflib_freedata(min);
  perflib_freedata(max);
}

// The reports of fill() blocks with base 100 (average), 0 (minimum) and 1000 (maximum).
// clang-format off
static const char* const stats_text[] = {
    "+                 Pkts Recv: 1101      \n",
    "+                 Pkts Drop: 1102      \n",
    "+            Block Verdicts: 1103      \n",
    "|                 Mbits/Sec: 101.5\n",
    "|                 Drop Rate: 12.35%\n",
    "|                Alerts/Sec: 102.5\n",
    "|          Total Alerts/Sec: 103.5\n",
    "|                K-Pkts/Sec: 104.5\n",
    "|             Avg Bytes/Pkt: 105.5\n",
    "|               Pat-Matched: 106.5%\n",
    "|                  Syns/Sec: 107.5\n",
    "|               SynAcks/Sec: 108.5\n",
    "|   New Sessions Cached/Sec: 109.5\n",
    "+    MidStream Sessions/Sec: 149.5\n",
    "| Sessions Del fr Cache/Sec: 110.5\n",
    "+       Closed Sessions/Sec: 150.5\n",
    "+    Timed Out Sessions/Sec: 151.5\n",
    "+       Pruned Sessions/Sec: 152.5\n",
    "+Dropped Async Sessions/Sec: 153.5\n",
    "|                    Active: 111.5\n",
    "+     Sessions Initializing: 146.5\n",
    "+      Sessions Established: 147.5\n",
    "+          Sessions Closing: 148.5\n",
    "|                Max Active: 112.5\n",
    "+   Max Sessions (interval): 145.5\n",
    "|        Stream Flushes/Sec: 113.5\n",
    "|   Stream Cache Faults/Sec: 114.5\n",
    "|     Stream Cache Timeouts: 115.5\n",
    "+      New UDP Sessions/Sec: 141.5\n",
    "+      UDP Sessions Del/Sec: 142.5\n",
    "+       UDP Sessions Active: 143.5\n",
    "+   Max UDP Sessions Active: 144.5\n",
    "+     Attribute Table Hosts: 154.5\n",
    "+   Attribute Table Reloads: 155.5\n",
    "+          Frag-Creates/Sec: 116.5\n",
    "|        Frag-Completes/Sec: 117.5\n",
    "|          Frag-Inserts/Sec: 118.5\n",
    "|          Frag-Deletes/Sec: 119.5\n",
    "+        Frag-AutoFrees/Sec: 120.5\n",
    "|          Frag-Flushes/Sec: 121.5\n",
    "+             Current Frags: 122.5\n",
    "+                 Max Frags: 123.5\n",
    "|             Frag-Timeouts: 124.5\n",
    "|               Frag-Faults: 125.5\n",
    "|              CPU  0 Usr %: 101.5%\n",
    "|              CPU  0 Sys %: 102.5%\n",
    "|             CPU  0 Idle %: 103.5%\n",
    "|              CPU  1 Usr %: 111.5%\n",
    "|              CPU  1 Sys %: 112.5%\n",
    "|             CPU  1 Idle %: 113.5%\n",
    "+          Mbits/Sec (wire): 126.5\n",
    "+          Mbits/Sec (mpls): 156.5\n",
    "+        Mbits/Sec (ipfrag): 127.5\n",
    "+       Mbits/Sec (ipreass): 128.5\n",
    "+    Mbits/Sec (tcprebuilt): 129.5\n",
    "+     Mbits/Sec (app layer): 130.5\n",
    "+      Avg Bytes/Pkt (wire): 131.5\n",
    "+      Avg Bytes/Pkt (mpls): 157.5\n",
    "+    Avg Bytes/Pkt (ipfrag): 132.5\n",
    "+   Avg Bytes/Pkt (ipreass): 133.5\n",
    "+Avg Bytes/Pkt (tcprebuilt): 134.5\n",
    "+ Avg Bytes/Pkt (app layer): 135.5\n",
    "+         K-Pkts/Sec (wire): 136.5\n",
    "+         K-Pkts/Sec (mpls): 158.5\n",
    "+       K-Pkts/Sec (ipfrag): 137.5\n",
    "+      K-Pkts/Sec (ipreass): 138.5\n",
    "+   K-Pkts/Sec (tcprebuilt): 139.5\n",
    "+    K-Pkts/Sec (app layer): 140.5\n",
    "+Total filtered TCP packets: 1104      \n",
    "+Total filtered UDP packets: 1105      \n",
    "+    Total Injected Packets: 1106      \n",
    "+       Frag memory (bytes): 1107      \n",
    "+     Stream memory (bytes): 1108      \n",
    "+  Number of normalizations: 2         \n",
    "+            Norm ip4::trim: 131       \n",
    "+             Norm ip4::tos: 132       \n",
    "+Would       Norm ip4::trim: 141       \n",
    "+Would        Norm ip4::tos: 142       \n",
    "|\n",
    NULL};
static const char* const stats_ex_text[] = {
    "|                                  Average        Min        Max\n",
    "+                 Pkts Recv   :       1101       1001       2001 \n",
    "+                 Pkts Drop   :       1102       1002       2002 \n",
    "+               Block Verdicts:       1103       1003       2003 \n",
    "|                    Mbits/Sec:      101.5        1.5     1001.5\n",
    "|                    Drop Rate:     12.35%      2.25%     75.75%\n",
    "|                   Alerts/Sec:      102.5        2.5     1002.5\n",
    "|             Total Alerts/Sec:      103.5        3.5     1003.5\n",
    "|                   K-Pkts/Sec:      104.5        4.5     1004.5\n",
    "|                Avg Bytes/Pkt:      105.5        5.5     1005.5\n",
    "|                  Pat-Matched:      106.5        6.5     1006.5\n",
    "|                     Syns/Sec:      107.5        7.5     1007.5\n",
    "|                  SynAcks/Sec:      108.5        8.5     1008.5\n",
    "|      New Sessions Cached/Sec:      109.5        9.5     1009.5\n",
    "+       Midstream Sessions/sec:      149.5       49.5     1049.5\n",
    "|    Sessions Del fr Cache/Sec:      110.5       10.5     1010.5\n",
    "+          Closed Sessions/sec:      150.5       50.5     1050.5\n",
    "+        TimedOut Sessions/sec:      151.5       51.5     1051.5\n",
    "+          Pruned Sessions/sec:      152.5       52.5     1052.5\n",
    "+   Dropped Async Sessions/sec:      153.5       53.5     1053.5\n",
    "|          Max Cached Sessions:      112.5\n",
    "|      Current Cached Sessions:      111.5\n",
    "+Current Sessions Initializing:      146.5\n",
    "+ Current Sessions Established:      147.5\n",
    "+     Current Sessions Closing:      148.5\n",
    "|          Max Cached Sessions:      112.5\n",
    "+      Max Sessions (Interval):      145.5\n",
    "|           Stream Flushes/Sec:      113.5       13.5     1013.5\n",
    "|  Stream Session Cache Faults:      114.5 \n",
    "|Stream Session Cache Timeouts:      115.5 \n",
    "+         New UDP Sessions/Sec:      141.5       41.5     1041.5\n",
    "+         UDP Sessions Del/Sec:      142.5       42.5     1042.5\n",
    "+         Current UDP Sessions:      143.5\n",
    "+             Max UDP Sessions:      144.5\n",
    "+        Attribute Table Hosts:      154.5       54.5     1054.5\n",
    "+      Attribute Table Reloads:      155.5\n",
    "+             Frag-Creates/Sec:      116.5       16.5     1016.5\n",
    "|           Frag-Completes/Sec:      117.5       17.5     1017.5\n",
    "|             Frag-Inserts/Sec:      118.5       18.5     1018.5\n",
    "|             Frag-Deletes/Sec:      119.5       19.5     1019.5\n",
    "+           Frag-AutoFrees/Sec:      120.5       20.5     1020.5\n",
    "|             Frag-Flushes/Sec:      121.5       21.5     1021.5\n",
    "+                Current Frags:      122.5\n",
    "+                    Max Frags:      123.5\n",
    "|                Frag-Timeouts:      124.5\n",
    "|                  Frag-Faults:      125.5\n",
    "|                 CPU  0 Usr %:      101.5        1.5     1001.5\n",
    "|                 CPU  0 Sys %:      102.5        2.5     1002.5\n",
    "|                CPU  0 Idle %:      103.5        3.5     1003.5\n",
    "|                 CPU  1 Usr %:      111.5       11.5     1011.5\n",
    "|                 CPU  1 Sys %:      112.5       12.5     1012.5\n",
    "|                CPU  1 Idle %:      113.5       13.5     1013.5\n",
    "+             Mbits/Sec (wire):      126.5       26.5     1026.5\n",
    "+             Mbits/Sec (mpls):      156.5       56.5     1056.5\n",
    "+           Mbits/Sec (ipfrag):      127.5       27.5     1027.5\n",
    "+          Mbits/Sec (ipreass):      128.5       28.5     1028.5\n",
    "+       Mbits/Sec (tcprebuilt):      129.5       29.5     1029.5\n",
    "+         Mbits/Sec (applayer):      130.5       30.5     1030.5\n",
    "+         Avg Bytes/Pkt (wire):      131.5       31.5     1031.5\n",
    "+         Avg Bytes/Pkt (mpls):      157.5       57.5     1057.5\n",
    "+       Avg Bytes/Pkt (ipfrag):      132.5       32.5     1032.5\n",
    "+      Avg Bytes/Pkt (ipreass):      133.5       33.5     1033.5\n",
    "+   Avg Bytes/Pkt (tcprebuilt):      134.5       34.5     1034.5\n",
    "+     Avg Bytes/Pkt (applayer):      135.5       35.5     1035.5\n",
    "+            K-Pkts/Sec (wire):      136.5       36.5     1036.5\n",
    "+            K-Pkts/Sec (mpls):      158.5       58.5     1058.5\n",
    "+          K-Pkts/Sec (ipfrag):      137.5       37.5     1037.5\n",
    "+         K-Pkts/Sec (ipreass):      138.5       38.5     1038.5\n",
    "+      K-Pkts/Sec (tcprebuilt):      139.5       39.5     1039.5\n",
    "+        K-Pkts/Sec (applayer):      140.5       40.5     1040.5\n",
    "+   Total filtered TCP packets:      1104       1004       2004 \n",
    "+   Total filtered UDP packets:      1105       1005       2005 \n",
    "+     Number of normalizations:         2\n",
    "+               Norm ip4::trim:       131         31       1031 \n",
    "+                Norm ip4::tos:       132         32       1032 \n",
    "+Would          Norm ip4::trim:       141         41       1041 \n",
    "+Would           Norm ip4::tos:       142         42       1042 \n",
    "+       Total Injected Packets:      1106       1006       2006 \n",
    "+          Frag memory (bytes):      1107       1007       2007 \n",
    "+        Stream memory (bytes):      1108       1008       2008 \n",
    "|\n",
    NULL};
// clang-format on

// Captures what the library prints on standard output.
static FILE* capture_file = NULL;
static int saved_stdout = -1;

static void capture_begin(void) {
  fflush(stdout);
  capture_file = tmpfile();
  saved_stdout = dup(STDOUT_FILENO);
  dup2(fileno(capture_file), STDOUT_FILENO);
}

static char* read_all(FILE* f) {
  fflush(f);
  fseek(f, 0, SEEK_END);
  const long n = ftell(f);
  rewind(f);
  char* text = calloc((size_t)n + 1, 1);
  CHECK(fread(text, 1, (size_t)n, f) == (size_t)n);
  return text;
}

static char* capture_end(void) {
  fflush(stdout);
  dup2(saved_stdout, STDOUT_FILENO);
  close(saved_stdout);
  char* text = read_all(capture_file);
  fclose(capture_file);
  return text;
}

// Each expected line starts with '|' (both forms) or '+' (long form only).
static char* expected(const char* const* lines, int long_form) {
  size_t size = 1;
  for (const char* const* line = lines; *line != NULL; ++line) {
    size += strlen(*line);
  }
  char* text = calloc(size, 1);
  for (const char* const* line = lines; *line != NULL; ++line) {
    if (**line == '|' || long_form) {
      strcat(text, *line + 1);
    }
  }
  return text;
}

static void check_text(char* got, char* want, const char* what) {
  if (strcmp(got, want) != 0) {
    size_t at = 0;
    while (got[at] == want[at]) {
      ++at;
    }
    while (at > 0 && want[at - 1] != '\n') {
      --at;
    }
    fprintf(stderr, "%s differs at byte %zu:\n got: %.70s\nwant: %.70s\n", what, at, got + at,
            want + at);
    ++failures;
  }
  free(got);
  free(want);
}

static void test_reports(void) {
  struct _data* avg = new_block();
  struct _data* lo = new_block();
  struct _data* hi = new_block();
  fill(avg, 100, 2, 12.345678L);
  fill(lo, 0, 2, 2.25L);
  fill(hi, 1000, 2, 75.75L);
  for (int form = 0; form <= 2; ++form) {  // only 1 selects the long form
    compatible = form;
    capture_begin();
    printstats(avg);
    check_text(capture_end(), expected(stats_text, form == 1), "printstats");
    capture_begin();
    printstatsex(avg, lo, hi);
    check_text(capture_end(), expected(stats_ex_text, form == 1), "printstatsex");
  }

  // Past the 29 named counters every normalisation is "Norm Other".
  compatible = 1;
  resize(avg, 1, 31);
  CHECK(strcmp(norm_names[28], "Norm tcp::trim_mss") == 0);
  capture_begin();
  printstats(avg);
  char* text = capture_end();
  CHECK(strstr(text, "  Number of normalizations: 31        \n") != NULL);
  CHECK(strstr(text,
               "        Norm tcp::trim_mss: 0         \n"
               "                Norm Other: 0         \n"
               "                Norm Other: 0         \n"
               "Would       Norm ip4::trim: 0         \n")
        != NULL);
  free(text);
  resize(avg, 1, 0);
  capture_begin();
  printstatsex(avg, lo, hi);
  text = capture_end();
  CHECK(strstr(text, "     Number of normalizations:         0\n       Total Injected") != NULL);
  free(text);
  compatible = 0;
  perflib_freedata(avg);
  perflib_freedata(lo);
  perflib_freedata(hi);
}

// The current layout's table, sorted; "stats" (all calc plans) and "timestamp" are left out.
static const char module_list[] =
    "modules={{name='daq',pegs=[[block dropped injected received]]},"
    "{name='normalizer',pegs=[[icmp4_echo icmp6_echo ip4_df ip4_opts ip4_rf ip4_tos ip4_trim "
    "ip4_ttl ip6_hops ip6_options tcp_block tcp_ecn_pkt tcp_ecn_session tcp_ips_data tcp_nonce "
    "tcp_options tcp_padding tcp_req_pay tcp_req_urg tcp_req_urp tcp_reserved tcp_syn_options "
    "tcp_trim_mss tcp_trim_rst tcp_trim_syn tcp_trim_win tcp_ts_ecr tcp_ts_nop test_icmp4_echo "
    "test_icmp6_echo test_ip4_df test_ip4_opts test_ip4_rf test_ip4_tos test_ip4_trim "
    "test_ip4_ttl test_ip6_hops test_ip6_options test_tcp_block test_tcp_ecn_pkt "
    "test_tcp_ecn_session test_tcp_ips_data test_tcp_nonce test_tcp_options test_tcp_padding "
    "test_tcp_req_pay test_tcp_req_urg test_tcp_req_urp test_tcp_reserved test_tcp_syn_options "
    "test_tcp_trim_mss test_tcp_trim_rst test_tcp_trim_syn test_tcp_trim_win test_tcp_ts_ecr "
    "test_tcp_ts_nop]]},"
    "{name='stream_ip',pegs=[[current_frags frag_timeouts max_frags memory_used prunes]]},"
    "{name='stream_tcp',pegs=[[closing established ignored initializing max memory sessions "
    "timeouts]]},"
    "{name='stream_udp',pegs=[[ignored max sessions]]},"
    "{name='thread_*',pegs=[[cpu_system cpu_user cpu_wall]]},"
    "{name='trelk',pegs=[[attribute_table_hosts attribute_table_reloads]]}}\n";

static void test_module_list(void) {
  FILE* f = tmpfile();
  print_trelk3_lua(f);
  check_text(read_all(f), strcpy(malloc(sizeof module_list), module_list), "print_trelk3_lua");
  fclose(f);
}

int main(void) {
  test_createdata_and_setdata();
  test_accumdata_and_avgdata();
  test_setdataminmax();
  test_reports();
  test_module_list();
  if (failures != 0) {
    fprintf(stderr, "%d checks failed\n", failures);
    return 1;
  }
  return 0;
}
