// SPDX-License-Identifier: Apache-2.0
#include "perflib_bits/context.h"

#include <gtest/gtest.h>

#include <string>

#include "perflib_bits/calc_plan.h"
#include "perflib_bits/field_tables.h"
#include "perflib_bits/record.h"

namespace perflib {
namespace {

Context parse(std::string header) {
  return Context(header.data());
}

// Layout version and field count: "sdrops" wins, then "pkt_drop_percent"; "##" is no header.
TEST(ContextTest, RecognisesTheLayout) {
  std::string got;
  for (const char* header :
       {"#time,sdrops\n", "#time,pkt_drop_percent,sdrops\n", "#time,pkt_drop_percent\n",
        "#timestamp,daq.received\n", "#\n", "#,,\n", "##time,sdrops\n"}) {
    Context ctx = parse(header);
    got += std::to_string(ctx.version) + "/" + std::to_string(ctx.fields.size()) + " ";
  }
  EXPECT_EQ(got, "1/2 1/3 2/2 3/2 3/0 3/0 0/0 ");
  EXPECT_EQ(Context(nullptr).version, 0);
}

TEST(ContextTest, ColumnsFromTheTableUnknownAndRepeated) {
  Context ctx = parse("#timestamp,,foo,daq.received,foo,foo\n");
  ASSERT_EQ(ctx.fields.size(), 5u);
  EXPECT_EQ(*ctx.fields[0].label, "Time");
  EXPECT_EQ(*ctx.fields[2].label, "Pkts Recv");
  EXPECT_EQ(ctx.fields[1].type, PT_SUM);
  EXPECT_EQ(*ctx.fields[3].name, "foo_DUPLICATE");
  EXPECT_EQ(ctx.find("foo_DUPLICATE"), 4u) << "a third occurrence takes the name over";
  EXPECT_EQ(ctx.index.size(), 4u);
  EXPECT_EQ(ctx.width, 13u);  // "foo_DUPLICATE"
  // Equal layouts: same version and fields (by kind, name and label), whatever index and width.
  Context same = parse("#timestamp,,foo,daq.received,foo,foo\n");
  same.width = 99;
  EXPECT_EQ(ctx, same);
  EXPECT_NE(parse("#time,x\n"), parse("#timestamp,x\n"));
  EXPECT_NE(Field("a", "A", PT_AVERAGE), Field("a", "A", PT_PERCENT));
  EXPECT_NE(Field("a", "A", PT_SUM), Field("a", "B", PT_SUM));
  EXPECT_EQ(Field("a", PT_SUM), Field("a", "a", PT_SUM));
}

TEST(ContextTest, KnownColumnsAddThreadPlansUpToTheHighestInstance) {
  std::size_t before = calc_plans.size();
  parse("#unknown,unknown_only\n");
  EXPECT_EQ(calc_plans.size(), before) << "no known column, no plans";
  // The highest thread seen so far in the table counts, even with no thread columns here.
  const auto rounds = [] { return 3 * static_cast<std::size_t>(trelk_3_fields.max_instance + 1); };
  parse("#timestamp\n");
  EXPECT_EQ(calc_plans.size(), before + rounds());
  before = calc_plans.size();
  parse("#timestamp,thread_0.cpu_user,thread_3.cpu_wall\n");
  ASSERT_GE(trelk_3_fields.max_instance, 3);
  ASSERT_EQ(calc_plans.size(), before + rounds());  // threads 0 to the highest, inclusive
  EXPECT_EQ(calc_plans[before].name, "stats.usr[0]");
  EXPECT_EQ(calc_plans[before + 11].name, "stats.idle[3]");
  char line[] = "1,50,200\n";
  auto ctx = std::make_shared<Context>(parse("#timestamp,thread_3.cpu_user,thread_3.cpu_wall\n"));
  Record r(ctx, line);
  EXPECT_EQ(calc_plans[before + 9].expr->eval(&r, 0), 25);
}

// A corrupt instance number or a file made of headers cannot grow the plan list without bound.
TEST(ContextTest, ThreadPlansAreBounded) {
  const std::size_t first = calc_plans.size();
  for (int i = 0; i < 30; ++i) {
    parse("#thread_9999.cpu_user\n");
  }
  EXPECT_EQ(calc_plans[first + 3 * MAX_THREAD_PLAN_INSTANCE + 2].name, "stats.idle[4095]");
  EXPECT_EQ(calc_plans[first + 3 * MAX_THREAD_PLAN_INSTANCE + 3].name, "stats.usr[0]");
  EXPECT_LE(calc_plans.size(), MAX_CALC_PLANS);
  EXPECT_GT(calc_plans.size() + 3, MAX_CALC_PLANS);
}

}  // namespace
}  // namespace perflib
