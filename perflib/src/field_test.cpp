#include "perflib_bits/field.h"

#include <gtest/gtest.h>

#include "perflib_bits/peg.h"

namespace perflib {
namespace {

TEST(FieldTest, EqualityTestsTypeThenNameThenLabel) {
  EXPECT_NE(Field("a", "A", PT_AVERAGE), Field("a", "A", PT_PERCENT));
  EXPECT_NE(Field("a", "A", PT_SUM), Field("b", "A", PT_SUM));
  EXPECT_NE(Field("a", "A", PT_SUM), Field("a", "B", PT_SUM));
  EXPECT_EQ(Field("a", PT_SUM), Field("a", "a", PT_SUM));
  Field null_names;
  EXPECT_EQ(null_names, null_names);
  EXPECT_EQ(null_names.type, PT_NONE);
}

TEST(FieldTest, OneTextFieldSharesOneString) {
  Field f("daq.received", PT_SUM);
  EXPECT_EQ(f.name.get(), f.label.get());
  Field copy = f;
  EXPECT_EQ(copy.name.get(), f.name.get());
}

TEST(FieldTest, NewPegIsZeroInBothMembers) {
  Peg p;
  EXPECT_EQ(p.count, 0u);
  EXPECT_EQ(p.value, 0.0L);
}

}  // namespace
}  // namespace perflib
