#pragma once

#include <osg/GL>

namespace QuorOsgUtils {

// Newer than OpenGL 1.1, the version of some platforms' headers.
constexpr GLenum kGLProgramPointSize = 0x8642;
constexpr GLenum kGLPixelPackBuffer = 0x88EB;
constexpr GLenum kGLPixelPackBufferBinding = 0x88ED;
constexpr GLenum kGLReadFramebuffer = 0x8CA8;
constexpr GLenum kGLDrawFramebuffer = 0x8CA9;
constexpr GLenum kGLDrawFramebufferBinding = 0x8CA6;
constexpr GLenum kGLReadFramebufferBinding = 0x8CAA;
constexpr GLenum kGLColorAttachment0 = 0x8CE0;
constexpr GLenum kGLFramebuffer = 0x8D40;
constexpr GLenum kGLRgbaInteger = 0x8D99;

}  // namespace QuorOsgUtils
