// SPDX-License-Identifier: Apache-2.0
// The merge as Prometheus metrics: what the printed buckets add up to, rendered in the text
// exposition format (0.0.4) or as OpenMetrics.
//
// Each column of the merged line becomes one family: a column of kind PT_SUM a counter (name
// ending in _total) that adds up the printed buckets since the start, any other kind a gauge with
// the last printed bucket's value. The same values of each input alone (its own stretches of the
// bucket folded as the merge folds them all) go to a family of their own, vexil_engine_..., with
// the label engine, so that summing a family never counts an input twice. Names: vexil_, the
// column name in lower case with every other character an underscore, a few abbreviations written
// out, and the base unit where the name tells the unit (Mbit/s as bytes per second, percent as a
// ratio); a name that another column or vexil's own figures took first gets _2, _3, ... The
// names are fixed the first time a column is seen, so they never change during a run.
#ifndef VEXIL_METRICS_EXPOSITION_H
#define VEXIL_METRICS_EXPOSITION_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "bucket.h"
#include "perflib"

namespace vexil {

class MetricsExposition {
 public:
  // engines: the label of each input by its place among all inputs (see VexilFile::input).
  MetricsExposition(std::vector<std::string> engines, int bucket_size);

  // The engine label of each input: the -l directory it was read from, or its path when that is
  // not one input's alone; a path given twice gets #2, #3, ...
  static std::vector<std::string> engine_labels(const std::vector<std::string>& paths,
                                                const std::vector<std::string>& log_dirs,
                                                const std::vector<std::string>& supplemental);

  // A printed bucket: merged is its line, the bucket holds the stretches it was combined from.
  void add_bucket(const Bucket& bucket, perflib::Record& merged);
  // How many buckets were added: a bucket is printed when its last holder lets it go, which may
  // be an input (a supplemental one, say) after the map let it go.
  std::uint64_t buckets_added() const { return added; }

  // vexil's own figures, as they are when the bucket is printed.
  struct Figures {
    std::size_t inputs = 0;
    std::size_t inputs_lagging = 0;
    std::uint64_t rows_read = 0;
    std::uint64_t late_rows_dropped = 0;
  };
  void set_figures(const Figures& figures) { own = figures; }

  // Every family, in a fixed order: vexil's own, then the columns as first seen.
  std::string render(bool openmetrics) const;

  // The metric name of a column before collisions are resolved (without _total).
  static std::string base_name(std::string_view column, double& scale);

 private:
  struct Column {
    std::string original;
    std::string name;  // after vexil_ or vexil_engine_, without _total
    bool counter = false;
    double scale = 1;
    long double merged = 0;
    bool merged_seen = false;
    std::map<std::size_t, long double> by_engine;
  };
  Column& column(const perflib::Record& r, std::uint32_t i);
  static void take(Column& c, const perflib::Record& r, std::uint32_t i, long double& into);

  std::vector<std::string> engines;
  int bucket_size;
  std::int64_t last_end = 0;
  bool any_bucket = false;
  std::uint64_t added = 0;
  Figures own;
  std::vector<Column> columns;                                  // as first seen
  std::map<std::string, std::size_t, std::less<>> by_original;  // into columns
  std::set<std::string, std::less<>> taken;  // full family names, _total included
};

}  // namespace vexil

#endif
