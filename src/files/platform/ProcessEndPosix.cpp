#include "files/platform/ProcessEnd.h"

namespace QuorOsgUtils {

// The static objects of a library end in one order with the program's, and threads run until the last of them has.
void beforeProcessEnds(void (* /*work*/)()) {}

}  // namespace QuorOsgUtils
