#pragma once

namespace QuorTests {

/// Keeps a connection to the display for as long as the program runs. A virtual display starts afresh whenever its last
/// client leaves, and for that moment refuses everybody: without this, windows opened one after the other would meet
/// it. False where there is no display; waits for one that is just starting.
bool holdDisplay();

/// Asks a window to close, as a window manager's button does.
void askToClose(unsigned long window);

}  // namespace QuorTests
