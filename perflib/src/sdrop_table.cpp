// SPDX-License-Identifier: Apache-2.0
// The column table of supplemental-drop files ("#time,sdrops").
#include "builtin_tables.h"

namespace perflib {

FieldMap make_sdrop_fields() {
  return FieldMap{
      {"time", "Time", PT_TIME},
      {"sdrops", "Supplemental Drops", PT_SUM},
  };
}

// The drop count becomes the older engine's drop counter; the time column is not paired.
Transform make_sdrop_to_trelk_2() {
  return Transform{{sdrop_fields.find("sdrops"), trelk_2_fields.find("pkt_stats.pkts_drop")}};
}

}  // namespace perflib
