#pragma once

#include <string>
#include <utility>
#include <vector>

namespace QuorViewer {

/// GPU information: pairs of property and value. Empty if there is no GPU to query. Call it before the viewer's window
/// opens, because the query releases the thread's current OpenGL context.
std::vector<std::pair<std::string, std::string>> gpuProperties();

/// The information as a two-column table for the terminal.
std::string gpuTable();

/// The name of the software renderer (llvmpipe, …) in `renderer`; empty if a GPU draws.
std::string softwareRendererOf(const std::string& renderer);

}  // namespace QuorViewer
