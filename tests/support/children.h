// Runs a piece of a test in several forked child processes at once, for behaviour that must hold
// between processes (two writers drawing keys from one database). Call it from the test's main
// thread, before any other thread starts; the children share nothing with the parent but what
// fork copies, and must open their own connections.
#pragma once

#include <functional>

namespace tarvo::test {

// Forks `count` children that each run `body(child)` (child = 0 .. count - 1) and end; waits for
// all. True when every child returned normally; an exception in a child is printed to stderr and
// makes it fail.
bool RunInChildren(int count, const std::function<void(int child)>& body);

}  // namespace tarvo::test
