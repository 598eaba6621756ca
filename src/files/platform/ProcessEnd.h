#pragma once

namespace QuorOsgUtils {

/// Has `work` done when the program calls `exit` or returns from its main function, while all of its threads still run:
/// in the place among the ends of static objects that the caller has. Needed where the end of a library's own static
/// objects comes later than that.
void beforeProcessEnds(void (*work)());

}  // namespace QuorOsgUtils
