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

#define REAL(d, i) (*(double*)((char*)(d) + reals[i]))
#define COUNT(d, k) (*(uint64_t*)((char*)(d) + counts[k]))

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
    REAL(d, i) = base + (double)i + 1.5;
  }
  for (size_t k = 0; k < COUNTS; ++k) {
    COUNT(d, k) = (uint64_t)base + 1001 + k;
  }
  d->drop_rate = drop_rate;
  for (int32_t i = 0; i < cpus; ++i) {
    d->cpu[i] = (struct perflib_cpu){base + 10 * i + 1.5, base + 10 * i + 2.5, base + 10 * i + 3.5};
  }
  for (int32_t i = 0; i < 2; ++i) {
    d->norms[i] = (uint64_t)base + 31 + (uint64_t)i;
    d->would_norms[i] = (uint64_t)base + 41 + (uint64_t)i;
  }
}

// Whether real i is the named field.
#define IS(i, field) (reals[i] == R(field))

static void test_createdata_and_setdata(void) {
  struct _data* d = new_block();
  CHECK(d->cpu_count == 1 && d->cpu != NULL && d->cpu[0].idle == 0.0);
  CHECK(d->norm_count == 0 && d->norms == NULL && d->would_norms == NULL);
  CHECK(REAL(d, 0) == 0.0 && COUNT(d, COUNTS - 1) == 0 && d->drop_rate == 0.0L);

  fill(d, 0, 2, 1.0L);
  d->time = 5;
  d->reserved = 6;
  d->reserved2 = 8.0;
  CHECK(setdata(d, -5.0) == 0);
  for (size_t i = 0; i < REALS; ++i) {
    // deliberate: max_active_sessions keeps its old value.
    CHECK(REAL(d, i) == (IS(i, max_active_sessions) ? (double)i + 1.5 : -5.0));
  }
  for (size_t k = 0; k < COUNTS; ++k) {
    CHECK(COUNT(d, k) == 0);
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
  struct _data *sum = new_block(), *a = new_block(), *b = new_block();
  fill(a, 0, 2, 1.0L);
  fill(b, 100, 2, 3.0L);
  a->time = 200;
  b->time = 100;
  a->max_active_sessions = 500.0;
  a->max_udp_sessions_active = 1.0;
  a->frag_memory = 10;
  b->frag_memory = 7;
  CHECK(accumdata(sum, a) == 0 && accumdata(sum, b) == 0);

  CHECK(sum->time == 200 && sum->pkts_recv == 1001 + 1101 && sum->drop_rate == 4.0L);
  CHECK(sum->frag_memory == 7);  // a level: the latest sample's value
  CHECK(sum->max_active_sessions == 500.0 && sum->max_udp_sessions_active == 144.5);
  CHECK(sum->cpu_count == 2 && sum->cpu[1].idle == 13.5 + 113.5);
  CHECK(sum->norm_count == 2 && sum->norms[1] == 32 + 132 && sum->would_norms[0] == 41 + 141);

  avgdata(sum, 0);
  CHECK(sum->pkts_recv == 2102 && sum->mbits_per_sec == 103.0);
  avgdata(sum, 4);
  for (size_t i = 0; i < REALS; ++i) {
    const double total = 2.0 * (double)i + 103.0;
    // deliberate: frag_timeouts stays a total over the interval; maxima (checked below) stay.
    CHECK(IS(i, max_active_sessions) || IS(i, max_udp_sessions_active)
          || REAL(sum, i) == (IS(i, frag_timeouts) ? total : total / 4.0));
  }
  CHECK(sum->max_active_sessions == 500.0 && sum->max_udp_sessions_active == 144.5);
  CHECK(sum->pkts_recv == 525 && sum->frag_memory == 1 && sum->drop_rate == 1.0L);
  CHECK(sum->cpu[1].idle == 127.0 / 4.0 && sum->norms[1] == 41 && sum->would_norms[0] == 45);
  perflib_freedata(sum);
  perflib_freedata(a);
  perflib_freedata(b);
}

static void test_setdataminmax(void) {
  struct _data *sample = new_block(), *min = new_block(), *max = new_block();
  fill(sample, 0, 4, 5.0L);
  CHECK(setdata(min, 1e30) == 0);
  min->max_active_sessions = 1e30;
  resize(min, 2, 0);
  min->cpu[0].user = min->cpu[1].user = 1.0;
  CHECK(setdataminmax(sample, min, max) == 0);

  for (size_t i = 0; i < REALS; ++i) {
    // neither block takes these
    const int untaken = IS(i, max_active_sessions) || IS(i, max_udp_sessions_active);
    CHECK(REAL(max, i) == (untaken ? 0.0 : (double)i + 1.5));
    // deliberate: the minimum's stream_timeouts never changes.
    CHECK(REAL(min, i) == (untaken || IS(i, stream_timeouts) ? 1e30 : (double)i + 1.5));
  }
  for (size_t k = 0; k < COUNTS; ++k) {
    CHECK(COUNT(min, k) == 1001 + k && COUNT(max, k) == 1001 + k);
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

// The reports of fill() blocks with base 100 (average), 0 (minimum) and 1000 (maximum) are in
// legacy_reports_expected.txt, whose path is the first argument.
static char* golden = NULL;

static char* read_all(FILE* f) {
  fflush(f);
  fseek(f, 0, SEEK_END);
  const long n = ftell(f);
  rewind(f);
  char* text = calloc((size_t)n + 1, 1);
  CHECK(fread(text, 1, (size_t)n, f) == (size_t)n);
  fclose(f);
  return text;
}

// What printstatsex(avg, lo, hi) prints on standard output, or printstats(avg) without lo.
static char* report(struct _data* avg, struct _data* lo, struct _data* hi) {
  fflush(stdout);
  FILE* capture = tmpfile();
  const int saved_stdout = dup(STDOUT_FILENO);
  dup2(fileno(capture), STDOUT_FILENO);
  lo ? printstatsex(avg, lo, hi) : printstats(avg);
  fflush(stdout);
  dup2(saved_stdout, STDOUT_FILENO);
  close(saved_stdout);
  return read_all(capture);
}

// The report of one section ("== name") of the golden file: lines starting with '|' belong to
// both forms, lines starting with '+' to the long form only.
static char* expected(const char* section, int long_form) {
  char* text = calloc(strlen(golden) + 1, 1);
  char header[64];
  snprintf(header, sizeof header, "== %s\n", section);
  const char* line = strstr(golden, header);
  CHECK(line != NULL);
  for (line = line ? strchr(line, '\n') + 1 : ""; *line == '|' || *line == '+';) {
    const char* end = strchr(line, '\n') + 1;
    if (*line == '|' || long_form) {
      strncat(text, line + 1, (size_t)(end - line - 1));
    }
    line = end;
  }
  return text;
}

// Compares two texts exactly, showing the first line that differs; frees both.
static void check_text(char* got, char* want, const char* what) {
  size_t at = 0, line = 0;
  for (; got[at] == want[at] && got[at] != '\0'; ++at) {
    line = got[at] == '\n' ? at + 1 : line;
  }
  if (got[at] != want[at]) {
    fprintf(stderr, "%s differs:\n got: %.70s\nwant: %.70s\n", what, got + line, want + line);
    ++failures;
  }
  free(got);
  free(want);
}

static void test_reports(void) {
  struct _data *avg = new_block(), *lo = new_block(), *hi = new_block();
  fill(avg, 100, 2, 12.345678L);
  fill(lo, 0, 2, 2.25L);
  fill(hi, 1000, 2, 75.75L);
  for (int form = 0; form <= 2; ++form) {  // only 1 selects the long form
    compatible = form;
    check_text(report(avg, NULL, NULL), expected("printstats", form == 1), "printstats");
    check_text(report(avg, lo, hi), expected("printstatsex", form == 1), "printstatsex");
  }

  // Past the 29 named counters every normalisation is "Norm Other".
  compatible = 1;
  resize(avg, 1, 31);
  CHECK(strcmp(norm_names[28], "Norm tcp::trim_mss") == 0);
  char* text = report(avg, NULL, NULL);
  CHECK(strstr(text, "  Number of normalizations: 31        \n") != NULL);
  CHECK(strstr(text,
               "        Norm tcp::trim_mss: 0         \n"
               "                Norm Other: 0         \n"
               "                Norm Other: 0         \n"
               "Would       Norm ip4::trim: 0         \n")
        != NULL);
  free(text);
  resize(avg, 1, 0);
  text = report(avg, lo, hi);
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
}

int main(int argc, char** argv) {
  FILE* f = argc > 1 ? fopen(argv[1], "r") : NULL;
  if (f == NULL) {
    fprintf(stderr, "usage: legacy_c_test legacy_reports_expected.txt\n");
    return 2;
  }
  golden = read_all(f);
  test_createdata_and_setdata();
  test_accumdata_and_avgdata();
  test_setdataminmax();
  test_reports();
  test_module_list();
  free(golden);
  if (failures != 0) {
    fprintf(stderr, "%d checks failed\n", failures);
    return 1;
  }
  return 0;
}
