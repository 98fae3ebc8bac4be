// A program with a static SPFCheck, whose header is the only one that it includes. It ends with
// status 0 when the check passed.

#include "tool/SPFCheck.h"

namespace {

const SPFCheck check("192.0.2.1", "", "example.org", 0, "");

}  // namespace

int main() {
  return check.getResult() ? 0 : 1;
}
