#include "tests/scripts/FakeMachine.h"

#include <filesystem>
#include <sstream>

#include "tests/support/Shell.h"

const std::string kAptGet = "apt-get -q -y --no-install-recommends ";

FakeMachine::FakeMachine() {
  Do("cp -r " PROJECT_ROOT
     "/scripts scripts; mkdir bin store; "
     "sed -i \"s#/usr/sbin/#$PWD/usr/sbin/#\" scripts/setup");
  Link("bash cp dirname env flock grep mkdir mv readlink rm sed touch tr");
  std::istringstream items(
      Do("{ echo ninja; grep -ohE '[a-z0-9+-]+[=@][a-z0-9+-]+' scripts/setup scripts/test; } | "
         "sort -u"));
  for (std::string item; items >> item;) {
    const std::string command = item.substr(0, item.find_first_of("=@"));
    if (item.find('@') != std::string::npos) {
      MakeCommand("build/servers/" + item.substr(command.size() + 1) + "/usr/sbin/" + command, "");
    } else if (!std::filesystem::exists(m_directory.Path("bin/" + command))) {
      MakeCommand("bin/" + command, "");
    }
  }
  MakeCommand("bin/id", "echo 0");
  MakeCommand("bin/nproc", "echo 3");
  MakeCommand("bin/dpkg-query", "echo installed");
  MakeCommand("bin/unshare", "");
  MakeNotedCommand("bin/ctest", "case $* in *-N) echo 'Total Tests: 2' ;; *) exit 8 ;; esac");
  MakeNotedCommand("bin/apt-get", R"(echo noise; case $* in
    *' install '*) cp $machine/store/* $machine/bin/ ;;
    *' download '*) touch "${@: -1}.deb" ;;
  esac)");
  MakeNotedCommand("tool/spfcheck", "echo verdict; exit 7");
  MakeNotedCommand("bin/cmake", R"(echo noise; case $1 in
    --preset)
      mkdir -p "build/$2/bin"
      touch "build/$2/build.ninja" "build/$2/CTestTestfile.cmake"
      printf '%s\n' CMAKE_HOME_DIRECTORY:INTERNAL="$PWD" CMAKE_GENERATOR:INTERNAL="$4" \
        "${@:5}" | sed 's/^-D//' > "build/$2/CMakeCache.txt" ;;
    --build) cp $machine/tool/spfcheck "$2/bin/" ;;
  esac)");
}

void FakeMachine::Link(const std::string& commands) const {
  Do("for command in " + commands + "; do ln -s \"$(command -v $command)\" bin/; done");
}

void FakeMachine::MakeCommand(const std::string& path, const std::string& body) const {
  const std::filesystem::path file = m_directory.Path(path);
  std::filesystem::create_directories(file.parent_path());
  std::filesystem::remove(file);  // the target of a link stays
  m_directory.Write(path,
                    "#!/usr/bin/env bash\nmachine=" + m_directory.Path() + "\n" + body + "\n");
  std::filesystem::permissions(file, std::filesystem::perms::all);
}

void FakeMachine::MakeNotedCommand(const std::string& path, const std::string& body) const {
  const std::string name = std::filesystem::path(path).filename();
  MakeCommand(path, "echo \"" + name + " $*\" >> $machine/calls\n" + body);
}

void FakeMachine::TakeAway(const std::string& commands) const {
  Do("cd bin; mv " + commands + " ../store");
}

ChildResult FakeMachine::Run(const std::string& line, const std::string& environment) const {
  return RunShell("exec env -i PATH=$PWD/bin " + environment + " " + line, m_directory.Path());
}

std::string FakeMachine::Do(const std::string& script) const {
  return OutputOf(script, m_directory.Path());
}

std::vector<std::string> FakeMachine::TakeCalls() const {
  std::istringstream file(m_directory.Read("calls"));
  std::vector<std::string> calls;
  const std::string directory = m_directory.Path() + "/";
  for (std::string call; std::getline(file, call);) {
    const std::size_t at = call.find(directory);
    calls.push_back(at == std::string::npos ? call : call.erase(at, directory.size()));
  }
  std::filesystem::remove(m_directory.Path("calls"));
  return calls;
}

std::string Install(const std::string& packages) {
  return kAptGet + "install " + packages;
}

std::string Configure(const std::string& preset, const std::string& tests,
                      const std::string& option) {
  return "cmake --preset " + preset + " -G Ninja " + option + "-DBUILD_TESTING:BOOL=" + tests +
         " -DSPFCHECK_REQUIRE_ALL:BOOL=OFF -DSPFCHECK_WARNINGS_AS_ERRORS:BOOL=OFF";
}
