// A run that stops with a fatal message ends the process, with status 0 unless asked otherwise: in
// a test program that must not pass for success. Linked into every test program.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace {

pid_t tests_of = 0;  // the process whose tests have begun and not ended; 0: none

void fail_if_unfinished() {
  // Death tests end child processes by such a stop.
  if (tests_of != getpid()) return;
  std::fputs("The test program was ended by the code under test\n", stderr);
  std::_Exit(1);
}

class Watch : public testing::Environment {
 public:
  void SetUp() override {
    tests_of = getpid();
    std::atexit(fail_if_unfinished);
  }
  void TearDown() override { tests_of = 0; }
};

[[maybe_unused]] const testing::Environment* const watch =
    testing::AddGlobalTestEnvironment(new Watch);

}  // namespace
