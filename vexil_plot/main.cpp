// SPDX-License-Identifier: Apache-2.0
#include "plot_main.h"

int main(int argc, char** argv) {
  return vexil::plot_main(argc, argv);
}
