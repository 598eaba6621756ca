#include "viewer/render/Gpu.h"

#include <gtest/gtest.h>

namespace {

using QuorViewer::softwareRendererOf;

TEST(GpuTest, renderersThatDrawOnTheProcessorAreNamed) {
  EXPECT_EQ(softwareRendererOf("llvmpipe (LLVM 15.0.6, 256 bits)"), "llvmpipe");
  EXPECT_EQ(softwareRendererOf("softpipe"), "softpipe");
  EXPECT_EQ(softwareRendererOf("ANGLE (Google, Vulkan 1.3.0 (SwiftShader Device (Subzero)), SwiftShader driver)"),
            "SwiftShader");
  EXPECT_EQ(softwareRendererOf("GDI Generic"), "GDI Generic");
}

TEST(GpuTest, graphicsCardsAreNotSoftwareRenderers) {
  EXPECT_EQ(softwareRendererOf("NVIDIA H200/PCIe/SSE2"), "");
  EXPECT_EQ(softwareRendererOf("Mesa Intel(R) UHD Graphics 630 (CFL GT2)"), "");
  EXPECT_EQ(softwareRendererOf("AMD Radeon RX 6800 (navi21, LLVM 15.0.6, DRM 3.49)"), "");
  EXPECT_EQ(softwareRendererOf(""), "");
}

}  // namespace
