#include "tests/end_to_end/ToolRun.h"

#include "tests/support/TemporaryDirectory.h"

ToolRun RunTool(const std::vector<std::string>& arguments) {
  const TemporaryDirectory directory;
  std::vector<std::string> words = {"spfcheck"};
  words.insert(words.end(), arguments.begin(), arguments.end());
  ToolRun run{RunChild(SPFCHECK_PROGRAM, words, directory.Path()), ""};
  run.log = directory.Read("log.txtcurrent.log");
  return run;
}
