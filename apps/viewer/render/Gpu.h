#pragma once

#include <string>
#include <utility>
#include <vector>

namespace QuorViewer {

/// GPU information: pairs of property and value. Empty if there is no GPU to query. Call it before the viewer's window
/// opens, because the query releases the thread's current OpenGL context.
std::vector<std::pair<std::string, std::string>> gpuProperties();

/// The information as text for the user, one line below another.
std::string gpuTable();

/// The renderer's name if it draws on the processor, which is slow; otherwise empty.
std::string softwareRendererOf(const std::string& renderer);

}  // namespace QuorViewer
