#include "files/platform/ProcessEnd.h"

namespace QuorOsgUtils {

// Static objects of a library are destroyed in one order with the program's, while threads still run: nothing to do.
void beforeProcessEnds(void (* /*work*/)()) {}

}  // namespace QuorOsgUtils
