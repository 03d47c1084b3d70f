// SPDX-License-Identifier: Apache-2.0
#include "arguments.h"
#include "bucket_map.h"
#include "stop_signals.h"
#include "vexil_main.h"
#include "vexil_run.h"

int main(int argc, char** argv) {
  vexil::stop_signals::install();
  return vexil::vexil_main<vexil::Arguments, vexil::VexilRun<vexil::BucketMap>>(argc, argv);
}
