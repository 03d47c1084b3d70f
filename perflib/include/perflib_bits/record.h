// SPDX-License-Identifier: Apache-2.0
// One row of a statistics file: a Peg per column of its (shared) Context.
//
// Records combine column by column according to each column's PegType. Values that must end as
// averages are summed and counted, and collapse() divides them; average_state keeps one record
// from mixing accumulation modes before it is collapsed (a violation aborts).
#ifndef PERFLIB_BITS_RECORD_H
#define PERFLIB_BITS_RECORD_H

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <memory>
#include <string_view>
#include <vector>

#include "context.h"
#include "export.h"
#include "peg.h"

namespace perflib {

enum AverageState : std::uint8_t {
  AS_NONE = 0,    // not accumulating
  AS_SINGLE = 1,  // single_instance_accumulate
  AS_MULTI = 2,   // multi_instance_accumulate
  AS_BLIND = 3,   // average_accumulate
};

class Record;
using RecordPtr = std::shared_ptr<Record>;

// The row itself: its members are read cell by cell on every row, so they stay in the object, and
// its size, members and virtual functions are frozen for the life of the soname (perflib/abi).
class PERFLIB_EXPORT Record {
 public:
  // Parses a data line in the given layout, tokenising it in place; a null line gives no pegs.
  Record(std::shared_ptr<Context> context, char* line);
  // Copies the pegs and shares the context of source; the copy is not accumulating.
  explicit Record(const Record* source);
  virtual ~Record();

  virtual RecordPtr copy();
  virtual std::shared_ptr<Context> get_context();
  virtual std::vector<Peg>& get_pegs();
  virtual std::int64_t get_time();
  virtual void set_time(std::int64_t t);

  // Output (record_output.cpp).
  virtual void print_csv_header(FILE* out, const RecordPtr& previous);
  virtual void print_csv(FILE* out);

  // Accumulation (record_accumulate.cpp). Each may rewrite other's context in place.
  // requires: average_state is AS_NONE or AS_SINGLE
  virtual void single_instance_accumulate(const RecordPtr& other);
  // requires: average_state is AS_NONE or AS_MULTI
  virtual void multi_instance_accumulate(const RecordPtr& other);
  // requires: average_state is AS_NONE
  virtual void min_accumulate(const RecordPtr& other);
  // requires: average_state is AS_NONE
  virtual void max_accumulate(const RecordPtr& other);
  // requires: average_state is AS_NONE or AS_BLIND
  virtual void average_accumulate(const RecordPtr& other);
  virtual void collapse();

  // Applies every calc plan; t is the interval length in seconds.
  // requires: average_state is AS_NONE
  virtual void derive(std::time_t t);
  virtual void print_formatted(FILE* out, bool utc);

  virtual std::uint32_t get_time_index();
  // Brings the older of the two records up to the newer one's layout, in place.
  virtual void match_context(const RecordPtr& other);
  // Position in this record of column k of other; appends the column when this has none.
  virtual std::uint32_t get_local_index(const std::shared_ptr<Context>& other, std::uint32_t k,
                                        bool& found);
  virtual void target_for_average(std::uint32_t index, bool found);
  virtual void push_peg(PegType type);

  // The peg at a position read as a counter / as a real, whatever it holds; zero past the end.
  std::uint64_t count_at(std::uint32_t i) const;
  long double value_at(std::uint32_t i) const;
  // Whether the peg at a position holds a real: a real column, or an integer column that
  // collapse() averaged.
  bool holds_value(std::uint32_t i) const;

  // What print_csv_header and print_csv write, column by column: whether a position is written
  // at all (columns of kind PT_PEAK in the current layout are not), the name the header gives it
  // (a repeated column its own name), and its value as text, into buffer as snprintf does
  // (returns the length the text needs).
  bool printed(std::uint32_t i) const;
  std::string_view printed_name(std::uint32_t i) const;
  int format_value(std::uint32_t i, char* buffer, std::size_t size) const;

  // Re-reads a data line into this record in its own context, reusing its storage.
  void reparse(char* line);

  std::vector<Peg> pegs;
  std::shared_ptr<Context> context;
  std::uint8_t average_state = AS_NONE;
  // Values counted for averaging, by peg position; 0 means none.
  std::vector<std::uint32_t> average_counts;
  // Integer columns that collapse() turned into reals, by peg position (empty when none).
  std::vector<bool> averaged_integers;

 private:
  void parse(char* line);
  template <int Mode>
  void accumulate(const RecordPtr& other);
  template <int Mode>
  void fold_aligned(const Record& other, std::size_t n);
  template <int Mode>
  void combine(std::uint32_t pos, const Peg& b, bool b_is_value, bool found);
  void catch_up();
};

// Prints average, minimum and maximum side by side. The three share one layout; the average is
// read as reals in every column.
PERFLIB_EXPORT void print_report(FILE* out, const RecordPtr& average, const RecordPtr& minimum,
                                 const RecordPtr& maximum);

}  // namespace perflib

#endif
