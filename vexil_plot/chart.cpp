// SPDX-License-Identifier: Apache-2.0
#include "chart.h"

#include <array>

namespace vexil {

const std::string& palette_colour(std::size_t key) {
  // Ten hues that stay apart from each other on white, in print and for most colour-blind readers.
  static const std::array<std::string, 10> colours = {
      "#1f77b4", "#d62728", "#2ca02c", "#9467bd", "#ff7f0e",
      "#17becf", "#8c564b", "#e377c2", "#7f7f7f", "#bcbd22",
  };
  return colours[key % colours.size()];
}

}  // namespace vexil
