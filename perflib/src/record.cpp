// SPDX-License-Identifier: Apache-2.0
// Records: parsing a data line, the time column, layout matching and derived columns.
//
// Layouts are reconciled in two steps. match_context upgrades the older of two records, in
// place and one version at a time through next_transform, which renames columns; the upgrade
// changes the shared Context and so every record and reader holding it. get_local_index then
// finds each column of the other record by name and appends the ones this record lacks.
#include "perflib_bits/record.h"

#include <stdexcept>

#include "number_parse.h"
#include "perflib_bits/assert.h"
#include "perflib_bits/calc_plan.h"
#include "perflib_bits/field_tables.h"

namespace perflib {

Record::Record(std::shared_ptr<Context> context, char* line) : context(std::move(context)) {
  pegs.reserve(this->context->fields.size());
  if (line != nullptr) {
    parse(line);
  }
}

Record::Record(const Record* source)
    : pegs(source->pegs), context(source->context), averaged_integers(source->averaged_integers) {}

Record::~Record() = default;

void Record::parse(char* line) {
  const std::vector<Field>& fields = context->fields;
  const std::size_t n = fields.size();
  pegs.resize(n);  // zeroed; cells are written in place
  Peg* out = pegs.data();
  const std::size_t cells = convert_cells(
      fields, line, nullptr, [out](std::size_t i, std::uint64_t v) { out[i].count = v; },
      [out](std::size_t i, double v) { out[i].value = v; });
  if (cells < n) {
    pegs.resize(cells);
    while (pegs.size() < n) {
      push_peg(fields[pegs.size()].type);  // missing cells read as zero
    }
  }
}

void Record::reparse(char* line) {
  pegs.clear();
  average_state = AS_NONE;
  average_counts.clear();
  averaged_integers.clear();
  pegs.reserve(context->fields.size());
  parse(line);
}

RecordPtr Record::copy() {
  return std::make_shared<Record>(this);
}

std::shared_ptr<Context> Record::get_context() {
  return context;
}

std::vector<Peg>& Record::get_pegs() {
  return pegs;
}

std::uint32_t Record::get_time_index() {
  return context->time_index();
}

std::int64_t Record::get_time() {
  std::uint32_t at = get_time_index();
  return at == NO_INDEX ? 0 : static_cast<std::int64_t>(count_at(at));
}

void Record::set_time(std::int64_t t) {
  std::uint32_t at = get_time_index();
  if (at == NO_INDEX) {
    return;
  }
  while (pegs.size() <= at) {
    push_peg(context->fields[pegs.size()].type);
  }
  pegs[at].set_count(static_cast<std::uint64_t>(t));
  if (at < averaged_integers.size()) {
    averaged_integers[at] = false;
  }
}

void Record::push_peg(PegType) {
  pegs.emplace_back();  // all bytes zero: integer 0 and real 0.0 alike
}

bool Record::holds_value(std::uint32_t i) const {
  if (i >= context->fields.size()) {
    return false;
  }
  if (!is_integer(context->fields[i].type)) {
    return true;
  }
  return i < averaged_integers.size() && averaged_integers[i];
}

std::uint64_t Record::count_at(std::uint32_t i) const {
  if (i >= pegs.size()) {
    return 0;
  }
  return holds_value(i) ? real_to_count(pegs[i].value) : pegs[i].count;
}

long double Record::value_at(std::uint32_t i) const {
  if (i >= pegs.size()) {
    return 0;
  }
  return holds_value(i) ? pegs[i].value : static_cast<long double>(pegs[i].count);
}

void Record::match_context(const RecordPtr& other) {
  Record* lo = other.get();
  Record* hi = this;
  if (context->version < other->context->version) {
    std::swap(lo, hi);
  }
  Context& older = *lo->context;
  while (older.version < hi->context->version && older.version < next_transform.size()) {
    for (const auto& [old_field, new_field] : *next_transform[older.version]) {
      std::uint32_t at = older.find(*old_field->name);
      if (at != NO_INDEX) {
        older.rename_field(at, *new_field);
      }
    }
    older.set_version(older.version + 1);
  }
  if (lo->context != hi->context && *lo->context == *hi->context) {
    lo->context = hi->context;
  }
}

void Record::catch_up() {
  const std::vector<Field>& fields = context->fields;
  while (pegs.size() < fields.size()) {
    push_peg(fields[pegs.size()].type);
  }
}

std::uint32_t Record::get_local_index(const std::shared_ptr<Context>& other, std::uint32_t k,
                                      bool& found) {
  if (other == context) {
    found = true;
    catch_up();
    return k;
  }
  std::uint32_t at = context->find(*other->fields[k].name);
  if (at != NO_INDEX) {
    found = true;
    catch_up();
    return at;
  }
  found = false;
  catch_up();  // the new column's peg must land at its own position
  context->append_field(other->fields[k]);
  push_peg(other->fields[k].type);
  return static_cast<std::uint32_t>(context->fields.size() - 1);
}

void Record::derive(std::time_t t) {
  PERFLIB_ASSERT(average_state == AS_NONE);
  for (const CalcPlan& plan : calc_plans) {
    long double v;
    try {
      v = plan.expr->eval(this, t);
    } catch (const std::runtime_error&) {
      continue;  // deprecated, or a column it reads is missing
    }
    std::uint32_t at = context->find(plan.name);
    if (at == NO_INDEX) {
      Field* known = trelk_3_fields.find(plan.name);
      catch_up();
      context->append_field(known != nullptr ? *known : Field(plan.name, PT_RATE));
      at = static_cast<std::uint32_t>(context->fields.size() - 1);
      push_peg(context->fields[at].type);
    }
    catch_up();
    if (is_integer(context->fields[at].type)) {
      pegs[at].set_count(real_to_count(v));
      if (at < averaged_integers.size()) {
        averaged_integers[at] = false;
      }
    } else {
      pegs[at].set_value(v);
    }
  }
}

}  // namespace perflib
