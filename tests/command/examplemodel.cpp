// examplemodel.cpp - the model that the example of vorlan.h finds in the fake library: it optimizes
// to 42.5 once a file was read and the log was linked.
#include <algorithm>

#include "fakelibrary.h"

namespace {

VLNrescode_enum optimizeexample(VLNrescode_enum& trm) {
  vlntaskt& task = fake::task();
  trm = VLN_RES_OK;
  if (fake::count(task, "VLN_linkfunctotaskstream") != 1) return static_cast<VLNrescode_enum>(1);
  if (std::ranges::count(task.calls, "VLN_readdata(example.mps)") != 1) {
    return static_cast<VLNrescode_enum>(2);
  }
  task.solutions[1].defined = 1;
  task.solutions[1].objectives = {42.5};
  return VLN_RES_OK;
}

const bool prepared = [] {
  fake::task().optimize = optimizeexample;
  return true;
}();

}  // namespace
