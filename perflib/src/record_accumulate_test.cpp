#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "perflib_bits/record.h"

namespace perflib {
namespace {

// One column of every kind, in PegType order (or in reverse order).
std::shared_ptr<Context> every_kind(bool reversed = false) {
  auto ctx = std::make_shared<Context>();
  ctx->set_version(LV_TRELK_3);
  const char* names[] = {"peak", "timestamp", "sum", "max", "now", "float", "rate", "avg", "pct"};
  for (int i = 0; i <= PT_PERCENT; ++i) {
    int t = reversed ? PT_PERCENT - i : i;
    ctx->append_field(Field(names[t], static_cast<PegType>(t)));
  }
  return ctx;
}

std::string reverse_cells(const std::string& line) {
  std::vector<std::string> cells;
  std::string cell;
  for (char c : line) {
    if (c == ',' || c == '\n') {
      cells.push_back(cell);
      cell.clear();
    } else {
      cell += c;
    }
  }
  std::string out;
  for (auto it = cells.rbegin(); it != cells.rend(); ++it) {
    if (!out.empty()) {
      out += ',';
    }
    out += *it;
  }
  return out + "\n";
}

RecordPtr row(const std::shared_ptr<Context>& ctx, std::string line) {
  return std::make_shared<Record>(ctx, line.data());
}

using Op = void (Record::*)(const RecordPtr&);

// Folds the lines into the first; with reordered set, the later rows come in a layout of the
// opposite column order, so every column is found by name.
std::string fold(const std::vector<std::string>& lines, Op op, bool do_collapse,
                 bool reordered = false) {
  auto ctx = every_kind();
  RecordPtr acc = row(ctx, lines[0]);
  for (std::size_t i = 1; i < lines.size(); ++i) {
    ((*acc).*op)(reordered ? row(every_kind(true), reverse_cells(lines[i])) : row(ctx, lines[i]));
  }
  if (do_collapse) {
    acc->collapse();
  }
  std::string text;
  for (std::uint32_t i = 0; i < acc->get_pegs().size(); ++i) {
    char cell[64];
    if (acc->holds_value(i)) {
      std::snprintf(cell, sizeof cell, "%Lg", acc->value_at(i));
    } else {
      std::snprintf(cell, sizeof cell, "%lu", static_cast<unsigned long>(acc->count_at(i)));
    }
    if (i != 0) {
      text += ',';
    }
    text += cell;
  }
  return text;
}

TEST(RecordAccumulateTest, RulesByKind) {
  //                            peak,time,sum,max,now,float,rate,avg,pct
  const std::vector<std::string> two = {"5,100,1,9,5,1.5,10,1,1\n", "3,200,2,4,7,9,20,2,3\n"};
  const std::vector<std::string> three = {"5,100,1,9,5,1.5,10,1,1\n", "3,200,2,4,7,9,20,2,2\n",
                                          "4,50,4,1,1,2,30,3,6\n"};
  struct Case {
    const char* name;
    Op op;
    const std::vector<std::string>* lines;
    const char* expected;
  };
  const Case cases[] = {
      {"single", &Record::single_instance_accumulate, &two, "5,200,3,9,7,1.5,15,1.5,2"},
      {"multi", &Record::multi_instance_accumulate, &two, "5,200,3,13,12,1.5,30,1.5,2"},
      {"min", &Record::min_accumulate, &two, "3,200,1,4,5,1.5,10,1,1"},
      {"max", &Record::max_accumulate, &two, "5,200,2,9,7,9,20,2,3"},
      {"average", &Record::average_accumulate, &two, "4,200,1.5,6.5,6,5.25,15,1.5,2"},
      {"single x3", &Record::single_instance_accumulate, &three, "5,200,7,9,1,1.5,20,2,3"},
      {"multi x3", &Record::multi_instance_accumulate, &three, "5,200,7,14,13,1.5,60,2,3"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(fold(*c.lines, c.op, true), c.expected);
    EXPECT_EQ(fold(*c.lines, c.op, true, true), c.expected) << "through the lookup path";
  }
}

TEST(RecordAccumulateTest, AverageCountsStartAtTwo) {
  auto ctx = every_kind();
  RecordPtr r = row(ctx, "0,0,0,0,0,0,0,0,1\n");
  r->single_instance_accumulate(row(ctx, "0,0,0,0,0,0,0,0,2\n"));
  EXPECT_EQ(r->average_counts[8], 2u);
  r->single_instance_accumulate(row(ctx, "0,0,0,0,0,0,0,0,6\n"));
  EXPECT_EQ(r->average_counts[8], 3u);
  r->collapse();
  EXPECT_EQ(r->value_at(8), 3);
  EXPECT_TRUE(r->average_counts.empty());
  EXPECT_EQ(r->average_state, AS_NONE);
}

TEST(RecordAccumulateTest, ColumnNewToTheReceiverCountsOnce) {
  auto a = std::make_shared<Context>();
  a->set_version(LV_TRELK_3);
  a->append_field(Field("timestamp", PT_TIME));
  RecordPtr r = row(a, "1\n");
  r->average_accumulate(row(every_kind(), "0,1,8,0,0,0,0,0,4.5\n"));
  std::uint32_t pct = a->find("pct");
  EXPECT_EQ(r->average_counts[pct], 1u);
  r->collapse();
  EXPECT_EQ(r->value_at(pct), 4.5);
  std::uint32_t sum = a->find("sum");
  EXPECT_TRUE(r->holds_value(sum)) << "an averaged counter holds a real afterwards";
  EXPECT_EQ(r->get_context()->fields[sum].type, PT_SUM);
  EXPECT_EQ(r->value_at(sum), 8);
}

TEST(RecordAccumulateTest, IntegerAverageAndWrapping) {
  auto ctx = every_kind();
  RecordPtr r = row(ctx, "0,0,3\n");
  r->average_accumulate(row(ctx, "0,0,4\n"));
  r->collapse();
  EXPECT_EQ(r->value_at(2), 3.5L);
  RecordPtr w = row(ctx, "0,0,18446744073709551615\n");
  w->multi_instance_accumulate(row(ctx, "0,0,2\n"));
  EXPECT_EQ(w->count_at(2), 1u);
  RecordPtr big = row(ctx, "0,0,18446744073709551615\n");
  big->average_accumulate(row(ctx, "0,0,0\n"));
  big->collapse();
  EXPECT_EQ(big->value_at(2), 18446744073709551615.0L / 2) << "read unsigned, not negative";
}

TEST(RecordAccumulateTest, MinKeepsTheLatestTime) {
  auto ctx = every_kind();
  RecordPtr r = row(ctx, "0,100,5\n");
  r->min_accumulate(row(ctx, "0,200,3\n"));
  EXPECT_EQ(r->get_time(), 200);
  EXPECT_EQ(r->count_at(2), 3u);
}

using RecordAccumulateDeathTest = ::testing::Test;

TEST(RecordAccumulateDeathTest, ModesDoNotMixWithoutCollapse) {
  auto ctx = every_kind();
  RecordPtr r = row(ctx, "1\n");
  r->multi_instance_accumulate(row(ctx, "1\n"));
  EXPECT_DEATH(r->single_instance_accumulate(row(ctx, "1\n")),
               "perflib.*single_instance_accumulate.*"
               "average_state == AS_NONE \\|\\| average_state == AS_SINGLE");
  EXPECT_DEATH(r->min_accumulate(row(ctx, "1\n")), "average_state == AS_NONE");
  EXPECT_DEATH(r->average_accumulate(row(ctx, "1\n")),
               "average_state == AS_NONE \\|\\| average_state == AS_BLIND");
  r->collapse();
  r->single_instance_accumulate(row(ctx, "1\n"));
  EXPECT_DEATH(r->multi_instance_accumulate(row(ctx, "1\n")),
               "average_state == AS_NONE \\|\\| average_state == AS_MULTI");
}

}  // namespace
}  // namespace perflib
