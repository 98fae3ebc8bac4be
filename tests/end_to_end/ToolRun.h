// One run of the built program, as a user would start it.

#pragma once

#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"

struct ToolRun : ChildResult {
  std::string log;  // what log.txtcurrent.log held afterwards, in a directory that was empty
};

// arguments: those behind the program's name, which is "spfcheck".
ToolRun RunTool(const std::vector<std::string>& arguments);
