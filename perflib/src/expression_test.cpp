#include "perflib_bits/expression.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <stdexcept>
#include <string>

#include "perflib_bits/record.h"

namespace perflib {
namespace {

// Notes the order in which nodes are evaluated.
struct Probe : Expression {
  Probe(std::string* log, char tag, long double v) : log(log), tag(tag), v(v) {}
  long double eval(Record*, long) const override {
    *log += tag;
    return v;
  }
  std::string* log;
  char tag;
  long double v;
};

TEST(ExpressionTest, ArithmeticRules) {
  ExpressionPtr time = std::make_shared<TimeExpression>();
  struct Case {
    ExpressionPtr e;
    long t;
    long double expected;
  };
  const Case cases[] = {
      {ex(10) / ex(0), 0, 0},
      {ex(0) / ex(0), 0, 0},
      {ex(1) - ex(3), 0, -2},
      {ex(7) / time, 0, 0},
      {ex(7) / time, 2, 3.5L},
      {ex(1) / ex(3), 0, static_cast<long double>(1.0 / 3.0)},  // computed in double
      {ex(ex(2) + ex(3)) * ex(4), 0, 20},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.e->eval(nullptr, c.t), c.expected);
  }
  EXPECT_EQ(ex(LDBL_MAX)->eval(nullptr, 0), LDBL_MAX) << "a constant alone is not reduced";
  EXPECT_TRUE(std::isinf((ex(LDBL_MAX) + ex(0))->eval(nullptr, 0)));
}

TEST(ExpressionTest, RightOperandIsEvaluatedFirst) {
  std::string log;
  ExpressionPtr e = ex(ExpressionPtr(std::make_shared<Probe>(&log, 'L', 1)),
                       ExpressionPtr(std::make_shared<Probe>(&log, 'R', 3)),
                       [](long double a, long double b) { return a - b; });
  EXPECT_EQ(e->eval(nullptr, 0), -2);
  EXPECT_EQ(log, "RL");
  EXPECT_THROW(ex(ex(1), ex(2), nullptr)->eval(nullptr, 0), std::bad_function_call);
}

TEST(ExpressionTest, DependenciesLeftFirstWithRepeats) {
  auto deps = (ex("a") + ex("a") * ex("b") / ex(1))->get_dependencies();
  EXPECT_EQ(deps, (std::list<std::string>{"a", "a", "b"}));
  EXPECT_TRUE(std::make_shared<TimeExpression>()->get_dependencies().empty());
}

TEST(ExpressionTest, ErrorsAreRuntimeErrors) {
  char header[] = "#timestamp,a,b\n";
  char line[] = "5,1,3\n";
  Record r(std::make_shared<Context>(header), line);
  EXPECT_EQ((ex("a") - ex("b"))->eval(&r, 0), -2);
  try {
    ex("missing")->eval(&r, 0);
    FAIL();
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), "unmatched field name");
  }
  try {
    DeprecatedExpression().eval(&r, 0);
    FAIL();
  } catch (const std::runtime_error& e) {
    EXPECT_STREQ(e.what(), "deprecated expression");
  }
}

}  // namespace
}  // namespace perflib
