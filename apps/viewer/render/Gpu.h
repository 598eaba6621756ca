#pragma once

#include <string>
#include <utility>
#include <vector>

namespace QuorViewer {

/// What the GPU says of itself: what was asked, and the answer. Empty where there is none to be asked. To be asked for
/// before the viewer's window opens, for the question takes the thread's OpenGL context away.
std::vector<std::pair<std::string, std::string>> gpuAnswers();

/// The answers for people, one under the other.
std::string gpuTable();

/// The name of the renderer where this is one that draws on the processor, which is slow; empty where it is none.
std::string softwareRendererOf(const std::string& renderer);

}  // namespace QuorViewer
