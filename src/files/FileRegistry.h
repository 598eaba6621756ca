#pragma once

#include <QuorOsgUtils/FilePtr.h>

#include <osg/ref_ptr>

#include <map>
#include <string>

namespace QuorOsgUtils {

/// Files by the names that commands use. A name without a file was used by a command but never registered.
using FileRegistry = std::map<std::string, osg::ref_ptr<FilePtr>>;

}  // namespace QuorOsgUtils
