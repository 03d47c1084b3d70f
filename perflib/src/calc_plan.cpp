// SPDX-License-Identifier: Apache-2.0
#include "perflib_bits/calc_plan.h"

#include <algorithm>
#include <string>

#include "perflib_bits/field_tables.h"

namespace perflib {

namespace {

// Makes sure the current layout knows the target column "stats." + key. When the older layout
// has a column of that key, the target takes its label and kind and the pair carries old files'
// values over; otherwise the target is a rate column.
void register_target(const std::string& key, const std::string& target) {
  if (trelk_3_fields.find(target) != nullptr) {
    return;
  }
  if (Field* old = trelk_2_fields.wildcard_process(key)) {
    Field* made =
        &trelk_3_fields.fields.emplace(target, Field(target, *old->label, old->type)).first->second;
    trelk_2_to_trelk_3.emplace_back(old, made);
    return;
  }
  trelk_3_fields.fields.emplace(target, Field(target, PT_RATE));
}

}  // namespace

CalcPlan::CalcPlan(std::string key, std::shared_ptr<Expression> expr)
    : name("stats." + key), expr(std::move(expr)) {
  register_target(key, name);
}

CalcPlan::CalcPlan(std::string key)
    : CalcPlan(std::move(key), std::make_shared<DeprecatedExpression>()) {}

namespace {

struct ThreadExpressions {
  ExpressionPtr usr, sys, idle;
};

// The three expressions of one thread are the same for every header, so they are built once.
const ThreadExpressions& thread_expressions(int t) {
  static std::vector<ThreadExpressions> made;
  while (made.size() <= static_cast<std::size_t>(t)) {
    std::string thread = "thread_" + std::to_string(made.size());
    ExpressionPtr user = ex(thread + ".cpu_user");
    ExpressionPtr system = ex(thread + ".cpu_system");
    ExpressionPtr wall = ex(thread + ".cpu_wall");
    ExpressionPtr hundred = ex(100.0L);
    made.push_back({(user / wall) * hundred, (system / wall) * hundred,
                    (((wall - user) - system) / wall) * hundred});
  }
  return made[t];
}

}  // namespace

void add_thread_plans(int max_thread) {
  // deliberate bounds: a corrupt instance number ("thread_2000000000.cpu_user") or a file made of
  // header lines must not make the list grow without limit. Real engines stay far below both.
  const int last = std::min(max_thread, MAX_THREAD_PLAN_INSTANCE);
  for (long t = 0; t <= last && calc_plans.size() + 3 <= MAX_CALC_PLANS; ++t) {
    const ThreadExpressions& e = thread_expressions(static_cast<int>(t));
    std::string n = std::to_string(t);
    calc_plans.emplace_back("usr[" + n + "]", e.usr);
    calc_plans.emplace_back("sys[" + n + "]", e.sys);
    calc_plans.emplace_back("idle[" + n + "]", e.idle);
  }
}

}  // namespace perflib
