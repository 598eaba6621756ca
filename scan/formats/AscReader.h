#pragma once

#include "scan/ScanFile.h"

#include <memory>

namespace QuorViewer {

/// A reader of a text file with one point per line, in ASCII or UTF-8. Columns are separated by spaces, tabs, commas or
/// semicolons, and all lines have equally many. None of the columns below may be empty. A line with both semicolons and
/// commas is refused, because its commas may be decimal ones. The number of columns decides what they mean:
///
///     3, 5        x y z
///     4           x y z intensity
///     7           x y z intensity red green blue
///     6, 8, more  x y z red green blue
///
/// Further columns are ignored. Columns of colour are ignored if a value is negative or above 65535, or if all are 0 or
/// 1: these are normals, for example. Colours are fractions of 1 if all are from 0 to 1. For intensities see
/// `VertexSurvey::scale`. Empty lines, and lines that begin with `#` or `//`, are skipped. So is the first line if it
/// holds column names (it begins with a letter, quotation mark, `_` or `/`, and no column is a number) or a single
/// number (the count of points). Lines end with a line feed, with or without a carriage return before it. Throws
/// ScanError.
std::unique_ptr<ScanReader> openAsc(ScanFile file);

}  // namespace QuorViewer
