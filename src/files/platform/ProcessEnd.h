#pragma once

namespace QuorOsgUtils {

/// Calls `work` when the program calls `exit` or returns from `main`, while all of its threads still run. It is
/// ordered among the destructors of static objects like an `atexit` function registered here. Needed where a library's
/// own static objects are destroyed later.
void beforeProcessEnds(void (*work)());

}  // namespace QuorOsgUtils
