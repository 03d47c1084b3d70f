#include "number_parse.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>

namespace perflib {
namespace {

// The fast paths must return exactly what strtoull / strtod return on the same token.
TEST(NumberParseTest, AgreesWithTheCLibrary) {
  const char* tokens[] = {
      "0",
      "7",
      "18446744073709551615",
      "18446744073709551616",
      "99999999999999999999",
      "9999999999999999999",
      "0000000000000000000000042",
      "-1",
      "-0",
      "+5",
      " 12",
      "12 ",
      "1e3",
      "0x1A",
      "abc",
      "12abc",
      "",
      "-",
      "3.5",
      "-3.5",
      ".5",
      "-.5",
      "5.",
      "1e-320",
      "1e400",
      "-1e400",
      "2.2250738585072011e-308",
      "0.1",
      "123456789012345678901234567890",
      "inf",
      "-inf",
      "nan",
      "NaN",
      "-nan",
      "0x1p3",
      "1e",
      "1e+",
      "1.5E+3",
      "\r",
      "7\r",
      "1,5",
      "4.9406564584124654e-324",
      "179769313486231570000000000000000000000000000000000000000000"
      "00000000000000000000000000000000000000000000000000000000000000000000000000000000000000000"
      "000000000000000000000000000000000000000000000000000000000000000000000000000000000000000000"
      "00000000000000000000000000000000000000000000000000000000000000000000000000000000000000000"};
  for (const char* token : tokens) {
    SCOPED_TRACE(std::string("token '") + token + "'");
    std::string text = std::string(token) + "\n";
    char* p = text.data();
    // the tokeniser never hands over an empty token; the converters still cope with one
    std::uint64_t count = read_count(p);
    const char* end = std::strpbrk(token, ",\n");
    std::string own = end ? std::string(token, end) : std::string(token);
    EXPECT_EQ(count, std::strtoull(own.c_str(), nullptr, 10));
    p = text.data();
    double value = read_value(p);
    double expected = std::strtod(own.c_str(), nullptr);
    if (std::isnan(expected)) {
      EXPECT_TRUE(std::isnan(value));
      EXPECT_EQ(std::signbit(value), std::signbit(expected));
    } else {
      EXPECT_EQ(std::memcmp(&value, &expected, sizeof value), 0) << value << " vs " << expected;
    }
  }
}

TEST(NumberParseTest, RealToCount) {
  EXPECT_EQ(real_to_count(-5), 0u);
  EXPECT_EQ(real_to_count(NAN), 0u);
  EXPECT_EQ(real_to_count(3.9L), 3u);
  EXPECT_EQ(real_to_count(1e30L), UINT64_MAX);
}

}  // namespace
}  // namespace perflib
