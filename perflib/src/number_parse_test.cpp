// SPDX-License-Identifier: Apache-2.0
#include "number_parse.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>

namespace perflib {
namespace {

// The fast paths must return exactly what strtoull / strtod return on the same token. Tokens are
// separated by "|"; the last is the largest double written out.
TEST(NumberParseTest, AgreesWithTheCLibrary) {
  std::istringstream tokens(
      "0|7|18446744073709551615|18446744073709551616|99999999999999999999|9999999999999999999|"
      "0000000000000000000000042|-1|-0|+5| 12|12 |1e3|0x1A|abc|12abc||-|3.5|-3.5|.5|-.5|5.|"
      "1e-320|1e400|-1e400|2.2250738585072011e-308|0.1|123456789012345678901234567890|inf|-inf|"
      "nan|NaN|-nan|0x1p3|1e|1e+|1.5E+3|\r|7\r|1,5|4.9406564584124654e-324|17976931348623157"
      + std::string(311, '0'));
  for (std::string token; std::getline(tokens, token, '|');) {
    SCOPED_TRACE("token '" + token + "'");
    std::string text = token + "\n";
    char* p = text.data();
    const std::uint64_t count = read_count(p);
    const std::string own = token.substr(0, token.find(','));  // what the tokeniser hands over
    EXPECT_EQ(count, std::strtoull(own.c_str(), nullptr, 10));
    p = text.data();
    const double value = read_value(p);
    const double expected = std::strtod(own.c_str(), nullptr);
    if (std::isnan(expected)) {
      EXPECT_TRUE(std::isnan(value) && std::signbit(value) == std::signbit(expected));
    } else {
      EXPECT_EQ(std::memcmp(&value, &expected, sizeof value), 0) << value << " vs " << expected;
    }
  }
  EXPECT_EQ(real_to_count(-5), 0u);
  EXPECT_EQ(real_to_count(NAN), 0u);
  EXPECT_EQ(real_to_count(3.9L), 3u);
  EXPECT_EQ(real_to_count(1e30L), UINT64_MAX);
  EXPECT_EQ(real_to_count(18446744073709551616.0L), UINT64_MAX);  // 2^64: not a count
}

}  // namespace
}  // namespace perflib
