#pragma once

namespace QuorTests {

/// Lets the process's next calls of the system's `open`, the library's among them, end as if a signal had come.
void interruptNextOpens(int times);
int interruptionsLeft();

}  // namespace QuorTests
