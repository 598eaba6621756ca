#pragma once

namespace QuorTests {

/// Makes the process's next calls of the system's `open`, including the library's, fail as if interrupted by a signal.
void interruptNextOpens(int times);
int interruptionsLeft();

}  // namespace QuorTests
