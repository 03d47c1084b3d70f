#include "arguments.h"
#include "bucket_map.h"
#include "vexil_main.h"
#include "vexil_run.h"

int main(int argc, char** argv) {
  return vexil::vexil_main<vexil::Arguments, vexil::VexilRun<vexil::BucketMap>>(argc, argv);
}
