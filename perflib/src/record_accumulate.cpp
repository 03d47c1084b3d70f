// SPDX-License-Identifier: Apache-2.0
// Combining rows column by column. The receiving column's PegType picks the rule:
//
//              single instance   multi instance   min / max      average
//   PEAK       max               max              min / max      summed, counted
//   TIME       max               max              max / max      max
//   SUM        sum               sum              min / max      summed, counted
//   MAX        max               sum              min / max      summed, counted
//   NOW        last value        sum              min / max      summed, counted
//   FLOAT      untouched         untouched        min / max      summed, counted
//   RATE       summed, counted   sum              min / max      summed, counted
//   AVERAGE    summed, counted   summed, counted  min / max      summed, counted
//   PERCENT    summed, counted   summed, counted  min / max      summed, counted
//
// "Counted" values are divided by their count in collapse(). When both records share one context
// (consecutive rows of one file) the columns line up and are combined without any lookup.
#include <algorithm>
#include <typeinfo>

#include "number_parse.h"
#include "perflib_bits/assert.h"
#include "perflib_bits/record.h"

namespace perflib {

namespace {

enum Mode { SINGLE, MULTI, MIN, MAX, AVERAGE };

}  // namespace

template <int M>
void Record::combine(std::uint32_t pos, const Peg& b, bool b_is_value, bool found) {
  const PegType type = context->fields[pos].type;
  Peg& a = pegs[pos];
  if (is_integer(type)) {
    if (pos < averaged_integers.size() && averaged_integers[pos]) {
      a.set_count(real_to_count(a.value));  // back to a counter before counting on
      averaged_integers[pos] = false;
    }
    const std::uint64_t bc = b_is_value ? real_to_count(b.value) : b.count;
    const std::uint64_t ac = a.count;
    std::uint64_t r = ac;
    if constexpr (M == SINGLE) {
      switch (type) {
        case PT_SUM:
          r = ac + bc;
          break;
        case PT_NOW:
          r = bc;
          break;
        default:
          r = std::max(ac, bc);
          break;  // PEAK, TIME, MAX
      }
    } else if constexpr (M == MULTI) {
      r = (type == PT_PEAK || type == PT_TIME) ? std::max(ac, bc) : ac + bc;
    } else if constexpr (M == MIN) {
      r = !found ? bc : type == PT_TIME ? std::max(ac, bc) : std::min(ac, bc);
    } else if constexpr (M == MAX) {
      r = !found ? bc : std::max(ac, bc);
    } else {
      if (type == PT_TIME) {
        r = std::max(ac, bc);
      } else {
        target_for_average(pos, found);
        r = ac + bc;
      }
    }
    pegs[pos].set_count(r);
    return;
  }
  const long double bv = b_is_value ? b.value : static_cast<long double>(b.count);
  long double& av = a.value;
  if constexpr (M == SINGLE) {
    if (type == PT_RATE || type == PT_AVERAGE || type == PT_PERCENT) {
      av = av + bv;
      target_for_average(pos, found);
    }
  } else if constexpr (M == MULTI) {
    if (type == PT_RATE) {
      av = av + bv;
    } else if (type == PT_AVERAGE || type == PT_PERCENT) {
      target_for_average(pos, found);
      av = av + bv;
    }
  } else if constexpr (M == MIN) {
    av = !found ? bv : std::min(av, bv);
  } else if constexpr (M == MAX) {
    av = !found ? bv : std::max(av, bv);
  } else {
    target_for_average(pos, found);
    av = av + bv;
  }
}

// Both records share one context and hold plain pegs: column i is column i, no lookups, no
// conversions. The two modes the merge uses get their own loop; the rest go through combine().
template <int M>
void Record::fold_aligned(const Record& o, std::size_t n) {
  const Field* fields = context->fields.data();
  Peg* a = pegs.data();
  const Peg* b = o.pegs.data();
  for (std::size_t i = 0; i < n; ++i) {
    const PegType type = fields[i].type;
    if constexpr (M == SINGLE || M == MULTI) {
      if (type == PT_SUM || (M == MULTI && (type == PT_MAX || type == PT_NOW))) {
        a[i].count += b[i].count;
        continue;
      }
      switch (type) {
        case PT_PEAK:
        case PT_TIME:
        case PT_MAX:  // only single instance reaches here
          a[i].count = std::max(a[i].count, b[i].count);
          break;
        case PT_NOW:  // only single instance reaches here
          a[i].count = b[i].count;
          break;
        case PT_RATE:
          a[i].value = a[i].value + b[i].value;
          if constexpr (M == SINGLE) {
            Record::target_for_average(static_cast<std::uint32_t>(i), true);
          }
          break;
        case PT_AVERAGE:
        case PT_PERCENT:
          a[i].value = a[i].value + b[i].value;
          Record::target_for_average(static_cast<std::uint32_t>(i), true);
          break;
        default:  // PT_FLOAT and unset kinds stay as they are
          break;
      }
    } else {
      combine<M>(static_cast<std::uint32_t>(i), b[i], !is_integer(type), true);
    }
  }
}

template <int M>
void Record::accumulate(const RecordPtr& other) {
  match_context(other);
  Record& o = *other;
  if (o.pegs.empty()) {
    return;
  }
  const bool plain =
      typeid(*this) == typeid(Record) && averaged_integers.empty() && o.averaged_integers.empty();
  if (plain && o.context == context) {
    catch_up();
    fold_aligned<M>(o, std::min(o.pegs.size(), context->fields.size()));
    return;
  }
  for (std::uint32_t i = 0; i < o.pegs.size() && i < o.context->fields.size(); ++i) {
    bool found = false;
    std::uint32_t pos = get_local_index(o.context, i, found);
    combine<M>(pos, o.pegs[i], o.holds_value(i), found);
  }
}

void Record::single_instance_accumulate(const RecordPtr& other) {
  PERFLIB_ASSERT(average_state == AS_NONE || average_state == AS_SINGLE);
  accumulate<SINGLE>(other);
  average_state = AS_SINGLE;
}

void Record::multi_instance_accumulate(const RecordPtr& other) {
  PERFLIB_ASSERT(average_state == AS_NONE || average_state == AS_MULTI);
  accumulate<MULTI>(other);
  average_state = AS_MULTI;
}

void Record::min_accumulate(const RecordPtr& other) {
  PERFLIB_ASSERT(average_state == AS_NONE);
  accumulate<MIN>(other);
}

void Record::max_accumulate(const RecordPtr& other) {
  PERFLIB_ASSERT(average_state == AS_NONE);
  accumulate<MAX>(other);
}

void Record::average_accumulate(const RecordPtr& other) {
  PERFLIB_ASSERT(average_state == AS_NONE || average_state == AS_BLIND);
  accumulate<AVERAGE>(other);
  average_state = AS_BLIND;
}

void Record::target_for_average(std::uint32_t index, bool found) {
  if (average_counts.size() <= index) {
    average_counts.resize(std::max<std::size_t>(index + 1, pegs.size()), 0);
  }
  std::uint32_t& n = average_counts[index];
  if (!found) {
    n = 1;  // the column is new here: only the incoming value counts
  } else if (++n == 1) {
    n = 2;  // first average of a column this record had: its own value counts too
  }
}

void Record::collapse() {
  for (std::uint32_t i = 0; i < average_counts.size(); ++i) {
    const std::uint32_t n = average_counts[i];
    if (n == 0 || i >= pegs.size()) {
      continue;
    }
    if (!holds_value(i)) {
      // deliberate: an averaged counter becomes a real; its column stays an integer kind
      pegs[i].set_value(static_cast<long double>(pegs[i].count));
      if (averaged_integers.size() <= i) {
        averaged_integers.resize(pegs.size(), false);
      }
      averaged_integers[i] = true;
    }
    pegs[i].value = pegs[i].value / static_cast<long double>(n);
  }
  average_counts.clear();
  average_state = AS_NONE;
}

}  // namespace perflib
