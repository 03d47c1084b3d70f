// SPDX-License-Identifier: Apache-2.0
// vexil where the system refuses it threads (pthread_create fails, through a preloaded library).
#include "test_support.h"

namespace {

// Refused a thread to decompress an input, the run ends with an error that names the input,
// after the buckets of what was read.
TEST(ThreadsTest, RefusedDecodingThreadNamesTheFile) {
  test_support::TempDir dir;
  const std::string text = dir.write("a", "#timestamp,n\n100,1\n400,2\n");
  dir.write("a.gz", test_support::run("/usr/bin/gzip", {"-c", text}, dir.path()).out);
  for (const char* allowed : {"0", "1"}) {  // none at all; one for the first compressed file
    const test_support::RunResult r =
        test_support::run(VEXIL_BINARY, {"-f", "a", "-f", "a.gz", "-f", "a.gz"}, dir.path(), [&] {
          setenv("LD_PRELOAD", REFUSE_THREADS_LIBRARY, 1);
          setenv("REFUSE_THREADS_AFTER", allowed, 1);
          const char* asan = getenv("ASAN_OPTIONS");  // the sanitizer's library need not be first
          setenv("ASAN_OPTIONS",
                 (std::string(asan ? asan : "") + ":verify_asan_link_order=0").c_str(), 1);
          return true;
        });
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err,
              "File read error: a.gz: no thread to decompress it (Resource temporarily "
              "unavailable)\n")
        << allowed;
    EXPECT_EQ(r.status, 1);
  }
}

}  // namespace
