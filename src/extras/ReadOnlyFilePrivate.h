#pragma once

#include "files/platform/FileMapping.h"

#include <QuorOsgUtils/ReadOnlyFile.h>

#include <string>

namespace QuorOsgUtils {

struct ReadOnlyFile::Private {
  FileMapping mapping;
  std::string path;
  std::string error;
};

}  // namespace QuorOsgUtils
