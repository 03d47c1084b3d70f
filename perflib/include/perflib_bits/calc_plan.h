// SPDX-License-Identifier: Apache-2.0
// Derived columns: a plan computes one "stats." column of the current layout from a record.
//
// Constructing a plan registers its target column: in trelk_3_fields, and, when the old layout
// had a column of the same key, as a pair of trelk_2_to_trelk_3 so old files carry it over.
#ifndef PERFLIB_BITS_CALC_PLAN_H
#define PERFLIB_BITS_CALC_PLAN_H

#include <memory>
#include <string>
#include <vector>

#include "export.h"
#include "expression.h"

namespace perflib {

// A plain value, frozen for the life of the soname (perflib/abi).
struct PERFLIB_EXPORT CalcPlan {
  CalcPlan(std::string key, std::shared_ptr<Expression> expr);
  explicit CalcPlan(std::string key);  // a column that can no longer be computed

  std::string name;  // "stats." + key
  std::shared_ptr<Expression> expr;
};

// The 41 built-in plans, then three per processor thread for every header parsed with a known
// column (Context).
PERFLIB_EXPORT extern std::vector<CalcPlan> calc_plans;

// Limits that keep hostile input from growing the plan list without bound.
constexpr int MAX_THREAD_PLAN_INSTANCE = 4095;
constexpr std::size_t MAX_CALC_PLANS = std::size_t{1} << 18;

// Appends the usr/sys/idle plans of threads 0 to max_thread inclusive (up to the limits above).
PERFLIB_EXPORT void add_thread_plans(int max_thread);

}  // namespace perflib

#endif
