#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "perflib_bits/record.h"
#include "test_support.h"

namespace perflib {
namespace {

const char* const NAMES[] = {"peak", "time", "sum", "max", "now", "float", "rate", "avg", "pct"};

// One column of every kind, in PegType order or reversed (so that every column is found by name).
std::shared_ptr<Context> every_kind(bool reversed = false) {
  auto ctx = std::make_shared<Context>();
  ctx->set_version(LV_TRELK_2);  // every column printed
  for (int i = 0; i <= PT_PERCENT; ++i) {
    const int t = reversed ? PT_PERCENT - i : i;
    ctx->append_field(Field(NAMES[t], static_cast<PegType>(t)));
  }
  return ctx;
}

RecordPtr row(const std::shared_ptr<Context>& ctx, std::string line) {
  return std::make_shared<Record>(ctx, line.data());
}

// The line's cells in reverse order.
std::string reversed_cells(const std::string& line) {
  std::istringstream in(line);
  std::string out, cell;
  while (std::getline(in, cell, ',')) {
    out = out.empty() ? cell : cell + "," + out;
  }
  return out;
}

using Op = void (Record::*)(const RecordPtr&);

// Folds the later lines into the first and collapses; with reordered, the later rows come in a
// layout of the opposite column order.
std::string fold(const std::vector<std::string>& lines, Op op, bool reordered) {
  auto ctx = every_kind();
  RecordPtr acc = row(ctx, lines[0]);
  for (std::size_t i = 1; i < lines.size(); ++i) {
    ((*acc).*op)(reordered ? row(every_kind(true), reversed_cells(lines[i])) : row(ctx, lines[i]));
  }
  acc->collapse();
  return test_support::capture([&](FILE* f) { acc->print_csv(f); });
}

TEST(RecordAccumulateTest, RulesByKind) {
  //                             peak,time,sum,max,now,float,rate,avg,pct
  const std::vector<std::string> two = {"5,100,1,9,5,1.5,10,1,1", "3,200,2,4,7,9,20,2,3"};
  const std::vector<std::string> three = {"5,100,1,9,5,1.5,10,1,1", "3,200,2,4,7,9,20,2,2",
                                          "4,50,4,1,1,2,30,3,6"};
  const struct {
    Op op;
    const std::vector<std::string>& lines;
    const char* expected;
  } cases[] = {
      {&Record::single_instance_accumulate, two, "5,200,3,9,7,1.5,15,1.5,2\n"},
      {&Record::multi_instance_accumulate, two, "5,200,3,13,12,1.5,30,1.5,2\n"},
      {&Record::min_accumulate, two, "3,200,1,4,5,1.5,10,1,1\n"},
      {&Record::max_accumulate, two, "5,200,2,9,7,9,20,2,3\n"},
      {&Record::average_accumulate, two, "4,200,1.5,6.5,6,5.25,15,1.5,2\n"},
      {&Record::single_instance_accumulate, three, "5,200,7,9,1,1.5,20,2,3\n"},
      {&Record::multi_instance_accumulate, three, "5,200,7,14,13,1.5,60,2,3\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.expected);
    EXPECT_EQ(fold(c.lines, c.op, false), c.expected);
    EXPECT_EQ(fold(c.lines, c.op, true), c.expected) << "through the lookup path";
  }
}

TEST(RecordAccumulateTest, AveragesCountWhatEachSideHeld) {
  // A column new to the receiver counts the incoming value only; an averaged counter holds a
  // real, prints as one and is counted on as a counter again.
  auto narrow = std::make_shared<Context>();
  narrow->append_field(Field("time", PT_TIME));
  narrow->set_version(LV_TRELK_2);
  RecordPtr r = row(narrow, "1");
  r->average_accumulate(row(every_kind(), "0,1,8,0,0,0,0,0,4.5"));
  r->collapse();
  EXPECT_EQ(test_support::capture([&](FILE* f) { r->print_csv(f); }), "1,0,8,0,0,0,0,0,4.5\n");
  EXPECT_EQ(r->get_context()->fields[2].type, PT_SUM);
  r->multi_instance_accumulate(row(every_kind(), "0,0,3,0,0,0,0,0,0"));
  EXPECT_EQ(r->count_at(2), 11u);
  RecordPtr big = row(every_kind(), "0,0,18446744073709551615");
  big->average_accumulate(row(every_kind(), "0,0,0"));
  big->collapse();
  EXPECT_EQ(big->value_at(2), 18446744073709551615.0L / 2) << "read unsigned, not negative";
}

TEST(RecordAccumulateDeathTest, ModesDoNotMixWithoutCollapse) {
  auto ctx = every_kind();
  RecordPtr r = row(ctx, "1");
  r->multi_instance_accumulate(row(ctx, "1"));
  EXPECT_DEATH(r->single_instance_accumulate(r), "perflib.*single_instance_accumulate.*AS_SINGLE");
  EXPECT_DEATH(r->min_accumulate(r), "average_state == AS_NONE");
  EXPECT_DEATH(r->max_accumulate(r), "average_state == AS_NONE");
  EXPECT_DEATH(r->average_accumulate(r), "AS_BLIND");
  EXPECT_DEATH(r->derive(1), "derive.*average_state == AS_NONE");
  r->collapse();
  r->single_instance_accumulate(row(ctx, "1"));
  EXPECT_DEATH(r->multi_instance_accumulate(r), "AS_MULTI");
}

}  // namespace
}  // namespace perflib
