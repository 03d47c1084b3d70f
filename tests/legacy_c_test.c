// SPDX-License-Identifier: Apache-2.0
// The legacy C interface, used from C as its callers use it. The reports (both, in both forms,
// byte for byte) print an average, a minimum and a maximum made by the block arithmetic, so the
// expected text checks the arithmetic and its deliberate quirks too; what no report shows is
// checked directly. Then the module listing.
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

#define OFFSET(field) offsetof(struct _data, field)

// Gives the reals from field first to field last value, value + 1, ...; returns the next value.
static double fill_reals(struct _data* d, size_t first, size_t last, double value) {
  for (size_t at = first; at <= last; at += sizeof(double)) {
    *(double*)((char*)d + at) = value++;
  }
  return value;
}

// A sample: the k-th real in field order (reserved2 included) holds base + k + 1.5, the k-th
// count base + 1001 + k, processor i base + 10 i + 1.5 (user), 2.5, 3.5; two normalisations.
static struct _data* sample(double base, long double drop_rate) {
  struct _data* d = new_block();
  double v = fill_reals(d, OFFSET(mbits_per_sec), OFFSET(frag_faults), base + 1.5);
  v = fill_reals(d, OFFSET(mbits_per_sec_wire), OFFSET(kpkts_per_sec_app_layer), v);
  fill_reals(d, OFFSET(new_udp_sessions_per_sec), OFFSET(kpkts_per_sec_mpls), v);
  uint64_t* counts[] = {&d->pkts_recv,           &d->pkts_drop,        &d->block_verdicts,
                        &d->filtered_tcp_packets, &d->filtered_udp_packets, &d->injected_packets,
                        &d->frag_memory,          &d->stream_memory};
  for (size_t k = 0; k < sizeof counts / sizeof counts[0]; ++k) {
    *counts[k] = (uint64_t)base + 1001 + k;
  }
  d->drop_rate = drop_rate;
  resize(d, 2, 2);
  for (int32_t i = 0; i < 2; ++i) {
    d->cpu[i] = (struct perflib_cpu){base + 10 * i + 1.5, base + 10 * i + 2.5, base + 10 * i + 3.5};
    d->norms[i] = (uint64_t)base + 31 + (uint64_t)i;
    d->would_norms[i] = (uint64_t)base + 41 + (uint64_t)i;
  }
  return d;
}

static void test_createdata_and_setdata(void) {
  struct _data* d = new_block();
  CHECK(d->cpu_count == 1 && d->cpu != NULL && d->cpu[0].idle == 0.0 && d->mbits_per_sec == 0.0);
  CHECK(d->norm_count == 0 && d->norms == NULL && d->would_norms == NULL && d->drop_rate == 0.0L);
  perflib_freedata(d);

  d = sample(0, 1.0L);
  d->time = 5;
  d->reserved = 6;
  d->reserved2 = 8.0;
  CHECK(setdata(d, -5.0) == 0);
  // deliberate: time, the reserved fields and max_active_sessions keep their values.
  CHECK(d->time == 5 && d->reserved == 6 && d->reserved2 == 8.0 && d->max_active_sessions == 12.5);
  CHECK(d->mbits_per_sec == -5.0 && d->max_udp_sessions_active == -5.0 && d->drop_rate == -5.0L);
  CHECK(d->pkts_recv == 0 && d->stream_memory == 0 && d->norm_count == 2 && d->norms[1] == 0);
  CHECK(d->cpu_count == 1 && d->cpu[0].user == -5.0 && d->cpu[0].idle == -5.0);
  CHECK(setdata(d, 1e30) == 0 && d->pkts_recv == UINT64_MAX && d->would_norms[1] == UINT64_MAX);
  CHECK(setdata(d, 7.9) == 0 && d->block_verdicts == 7 && d->frag_memory == 7 && d->norms[1] == 7);
  CHECK(perflib_freedata(d) == 0 && perflib_freedata(NULL) == 0);
}

static char* golden = NULL;  // legacy_reports_expected.txt, whose path is the first argument

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

// The average of samples 0 and 200, the minimum and maximum of samples 0, 200 and 1000 (the
// minimum starting from setdata(1e30), the maximum from zeros, both with arrays to grow).
static void test_arithmetic_and_reports(void) {
  struct _data* s[] = {sample(0, 0.345678L), sample(200, 24.345678L), sample(1000, 75.75L)};
  struct _data *avg = new_block(), *lo = new_block(), *hi = new_block();
  CHECK(accumdata(avg, s[0]) == 0 && accumdata(avg, s[1]) == 0);
  avgdata(avg, 2);
  avgdata(avg, 0);  // does nothing
  CHECK(setdata(lo, 1e30) == 0);
  for (int i = 0; i < 3; ++i) {
    CHECK(setdataminmax(s[i], lo, hi) == 0);
    perflib_freedata(s[i]);
  }
  // deliberate, and shown by no report: the minimum's stream_timeouts never changes, and
  // neither block takes max_active_sessions or max_udp_sessions_active.
  CHECK(lo->stream_timeouts == 1e30 && lo->max_active_sessions == 0.0);
  CHECK(hi->max_active_sessions == 0.0 && hi->max_udp_sessions_active == 0.0);
  for (int form = 0; form <= 2; ++form) {  // only 1 selects the long form
    compatible = form;
    check_text(report(avg, NULL, NULL), expected("printstats", form == 1), "printstats");
    check_text(report(avg, lo, hi), expected("printstatsex", form == 1), "printstatsex");
  }

  // An array lost to a failed growth prints as zeros; past the 29 named counters every
  // normalisation is "Norm Other".
  free(lo->cpu);
  lo->cpu = NULL;
  char* text = report(avg, lo, hi);
  CHECK(strstr(text, "CPU  1 Usr %:      111.5        0.0     1011.5\n") != NULL);
  free(text);
  compatible = 1;
  resize(avg, 1, 31);
  CHECK(strcmp(norm_names[28], "Norm tcp::trim_mss") == 0);
  text = report(avg, NULL, NULL);
  CHECK(strstr(text, "  Number of normalizations: 31        \n") != NULL);
  CHECK(strstr(text,
               "        Norm tcp::trim_mss: 0         \n"
               "                Norm Other: 0         \n"
               "                Norm Other: 0         \n"
               "Would       Norm ip4::trim: 0         \n")
        != NULL);
  free(text);
  compatible = 0;
  perflib_freedata(avg);
  perflib_freedata(lo);
  perflib_freedata(hi);
}

int main(int argc, char** argv) {
  FILE* f = argc > 1 ? fopen(argv[1], "r") : NULL;
  if (f == NULL) {
    fprintf(stderr, "usage: legacy_c_test legacy_reports_expected.txt\n");
    return 2;
  }
  golden = read_all(f);
  test_createdata_and_setdata();
  test_arithmetic_and_reports();
  f = tmpfile();
  print_trelk3_lua(f);
  check_text(read_all(f), expected("print_trelk3_lua", 0), "print_trelk3_lua");
  free(golden);
  if (failures != 0) {
    fprintf(stderr, "%d checks failed\n", failures);
    return 1;
  }
  return 0;
}
