#include "support/IdentifiedScene.h"

#include <QuorOsgUtils/CapturedCamera.h>

#include <osg/ColorMaski>
#include <osg/FrameBufferObject>
#include <osg/GLExtensions>
#include <osg/Texture2D>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>

namespace {

using namespace QuorTests;
using QuorOsgUtils::CapturedCamera;

constexpr int kWidth = 120;
constexpr int kHeight = 80;
constexpr GLenum kGLFramebufferBinding = 0x8CA6;

using Colour = std::array<unsigned char, 4>;
constexpr Colour kRed = {255, 0, 0, 255};
constexpr Colour kGreen = {0, 255, 0, 255};
constexpr Colour kBlue = {0, 0, 255, 255};

/// Seen along +Y from the origin, 10 units ahead.
const IdentifiedQuad kSmallWall = {{-2.0f, 10.0f, -2.0f}, {4.0f, 0.0f, 0.0f}, {0.0f, 0.0f, 4.0f}, 7};
const IdentifiedQuad kEverywhere = {{-100.0f, 10.0f, -100.0f}, {200.0f, 0.0f, 0.0f}, {0.0f, 0.0f, 200.0f}, 9};

class CapturedCameraGLTest : public testing::TestWithParam<ThreadingModel> {
 protected:
  void SetUp() override {
    _offscreen = std::make_unique<OffscreenViewer>(kWidth, kHeight, GetParam());
    ASSERT_TRUE(_offscreen->valid()) << "these tests need a display with OpenGL";
    _captured = std::make_unique<CapturedCamera>(_offscreen->camera());
    camera().setClearColor(osg::Vec4(0.0f, 0.0f, 1.0f, 1.0f));
    turn(0.0);
  }

  osg::Camera& camera() { return _offscreen->camera(); }

  void turn(double degrees) {
    const double angle = osg::DegreesToRadians(degrees);
    camera().setViewMatrixAsLookAt(osg::Vec3d(), osg::Vec3d(std::sin(angle), std::cos(angle), 0.0),
                                   osg::Vec3d(0.0, 0.0, 1.0));
  }

  /// The pixels whose identifier is not 0, and a failure for each background pixel with any value left in it.
  int identifiedPixels() {
    const osg::ref_ptr<const QuorOsgUtils::FrameSnapshot> frame = _captured->tool().latest();
    int count = 0, stale = 0;
    for (std::size_t pixel = 0; frame && pixel < frame->depths.size(); ++pixel) {
      const std::size_t first = pixel * 4;
      const bool isBackground = frame->depths[pixel] == 1.0f;
      count += frame->itemIDs[first] != 0 ? 1 : 0;
      for (std::size_t channel = first; isBackground && channel < first + 4; ++channel) {
        stale += frame->itemIDs[channel] != 0 || frame->itemFloats[channel] != 0.0f ||
                 frame->pcFloats[channel] != 0.0f || frame->pcInts[channel] != 0;
      }
    }
    EXPECT_EQ(stale, 0);
    return count;
  }

  int countOf(const Colour& colour, GLuint frameBuffer, int x, int y, int width, int height) {
    const std::vector<unsigned char> pixels = _offscreen->colours(frameBuffer, x, y, width, height);
    int count = 0;
    for (std::size_t i = 0; i < pixels.size(); i += 4) {
      count += std::equal(colour.begin(), colour.end(), pixels.begin() + static_cast<std::ptrdiff_t>(i));
    }
    return count;
  }

  void fillFrameBuffer(GLuint frameBuffer, float red, float green, float blue) {
    _offscreen->makeCurrent();
    const auto* gl = _offscreen->state().get<osg::GLExtensions>();
    gl->glBindFramebuffer(GL_FRAMEBUFFER_EXT, frameBuffer);
    _offscreen->state().applyMode(GL_SCISSOR_TEST, false);
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    glClearColor(red, green, blue, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    gl->glBindFramebuffer(GL_FRAMEBUFFER_EXT, 0);
  }

  /// A frame-buffer object of an application that is not drawn into frame buffer 0.
  osg::ref_ptr<osg::FrameBufferObject> useOwnDefault(int width, int height) {
    osg::ref_ptr<osg::FrameBufferObject> object = new osg::FrameBufferObject;
    object->setAttachment(osg::Camera::COLOR_BUFFER0,
                          osg::FrameBufferAttachment(new osg::RenderBuffer(width, height, GL_RGBA8)));
    _offscreen->draw();  // initialises the context
    _offscreen->makeCurrent();
    object->apply(_offscreen->state());
    const GLuint handle = object->getHandle(_offscreen->state().getContextID());
    fillFrameBuffer(handle, 0.0f, 1.0f, 0.0f);
    fillFrameBuffer(0, 0.0f, 1.0f, 0.0f);
    _offscreen->context().setDefaultFboId(handle);
    return object;
  }

  std::unique_ptr<OffscreenViewer> _offscreen;
  std::unique_ptr<CapturedCamera> _captured;
};

TEST_P(CapturedCameraGLTest, afterAnOrbitNoStaleIdentifierRemains) {
  _offscreen->scene().addChild(createNode(kSmallWall));
  _offscreen->draw();
  // 4 units at a distance of 10, in a view of 2 × 10 tan 30° = 11.547 units on 80 pixels: 27.7 pixels in each
  // direction.
  EXPECT_NEAR(identifiedPixels(), 27.7 * 27.7, 2 * 27.7);
  for (const double degrees : {10.0, 20.0, 30.0}) {
    turn(degrees);
    _offscreen->draw();
    EXPECT_GT(identifiedPixels(), 0);
  }
  turn(180.0);
  _offscreen->draw();
  EXPECT_EQ(identifiedPixels(), 0);
}

TEST_P(CapturedCameraGLTest, anEmptySceneIsCapturedAsBackgroundAndShowsTheClearColour) {
  _offscreen->scene().addChild(createNode(kEverywhere));
  _offscreen->draw();
  EXPECT_EQ(identifiedPixels(), kWidth * kHeight);
  _offscreen->scene().removeChildren(0, 1);
  for (int i = 0; i < 2; ++i) {
    _offscreen->draw();
    EXPECT_EQ(identifiedPixels(), 0);
    EXPECT_EQ(countOf(kBlue, 0, 0, 0, kWidth, kHeight), kWidth * kHeight);
  }
}

TEST_P(CapturedCameraGLTest, theColoursReachTheWindow) {
  _offscreen->scene().addChild(createNode(kSmallWall));
  _offscreen->draw();
  const int red = countOf(kRed, 0, 0, 0, kWidth, kHeight);
  EXPECT_EQ(red, identifiedPixels());
  EXPECT_EQ(countOf(kBlue, 0, 0, 0, kWidth, kHeight), kWidth * kHeight - red);
}

TEST_P(CapturedCameraGLTest, theFrameFollowsTheSizeOfTheViewport) {
  _offscreen->scene().addChild(createNode(kEverywhere));
  for (const auto& [width, height] : {std::pair(40, 30), std::pair(kWidth, kHeight), std::pair(300, 200)}) {
    camera().setViewport(0, 0, width, height);
    _offscreen->draw();
    EXPECT_EQ(identifiedPixels(), width * height);
    const osg::RenderBuffer* image =
        _captured->frameBufferObject().getAttachment(osg::Camera::COLOR_BUFFER1).getRenderBuffer();
    EXPECT_EQ(image->getWidth(), width);
    EXPECT_EQ(image->getHeight(), height);
  }
}

TEST_P(CapturedCameraGLTest, aViewportAwayFromTheOriginIsDrawnAndShownInItsPlace) {
  _offscreen->scene().addChild(createNode(kEverywhere));
  _offscreen->draw();
  fillFrameBuffer(0, 0.0f, 1.0f, 0.0f);
  camera().setViewport(30, 20, 60, 40);
  _offscreen->draw();
  EXPECT_EQ(countOf(kRed, 0, 30, 20, 60, 40), 60 * 40);
  EXPECT_EQ(countOf(kGreen, 0, 0, 0, kWidth, kHeight), kWidth * kHeight - 60 * 40);
}

TEST_P(CapturedCameraGLTest, aFrameIsShownInTheViewportThatItWasCulledWith) {
  _offscreen->scene().addChild(createNode(kEverywhere));
  const osg::ref_ptr<osg::Camera> later = new osg::Camera;
  later->setRenderOrder(osg::Camera::POST_RENDER);
  later->setClearMask(0);
  later->addChild(createOverlay(kEverywhere));
  _offscreen->scene().addChild(later);
  _offscreen->draw();
  fillFrameBuffer(0, 0.0f, 1.0f, 0.0f);
  camera().setViewport(30, 20, 60, 40);
  camera().setInitialDrawCallback(new LateViewport({0, 0, 20, 30}));
  _offscreen->draw();
  EXPECT_EQ(countOf(kRed, 0, 30, 20, 60, 40), 60 * 40);
  EXPECT_EQ(countOf(kGreen, 0, 0, 0, kWidth, kHeight), kWidth * kHeight - 60 * 40);
}

TEST_P(CapturedCameraGLTest, drawsIntoTheDefaultFrameBufferObjectOfTheContextAndRestoresIt) {
  _offscreen->scene().addChild(createNode(kEverywhere));
  const osg::ref_ptr<osg::FrameBufferObject> own = useOwnDefault(kWidth, kHeight);
  const GLuint handle = own->getHandle(_offscreen->state().getContextID());
  ASSERT_NE(handle, 0U);
  _offscreen->draw();
  _offscreen->makeCurrent();
  GLint bound = 0;
  glGetIntegerv(kGLFramebufferBinding, &bound);
  EXPECT_EQ(static_cast<GLuint>(bound), handle);
  EXPECT_EQ(countOf(kRed, handle, 0, 0, kWidth, kHeight), kWidth * kHeight);
  EXPECT_EQ(countOf(kGreen, 0, 0, 0, kWidth, kHeight), kWidth * kHeight);
  EXPECT_EQ(identifiedPixels(), kWidth * kHeight);
}

TEST_P(CapturedCameraGLTest, aViewportInLogicalUnitsIsEnlargedForTheWindow) {
  _offscreen->scene().addChild(createNode(kEverywhere));
  const osg::ref_ptr<osg::FrameBufferObject> own = useOwnDefault(2 * kWidth, 2 * kHeight);
  const GLuint handle = own->getHandle(_offscreen->state().getContextID());
  _captured->setDevicePixelRatio(2.0);
  _offscreen->draw();
  EXPECT_EQ(countOf(kRed, handle, 0, 0, 2 * kWidth, 2 * kHeight), 4 * kWidth * kHeight);
  EXPECT_EQ(identifiedPixels(), kWidth * kHeight);
}

TEST_P(CapturedCameraGLTest, anOverlayIsVisibleAndLeavesTheIdentifiersBehindIt) {
  IdentifiedQuad before = kEverywhere;
  before.corner.y() = 5.0f;
  before.colour = osg::Vec4(0.0f, 1.0f, 0.0f, 1.0f);
  _offscreen->scene().addChild(createNode(kEverywhere));
  osg::ref_ptr<osg::Geometry> overlay = createOverlay(before);
  overlay->getOrCreateStateSet()->setRenderBinDetails(10, "RenderBin");
  _offscreen->scene().addChild(overlay);
  _offscreen->draw();
  EXPECT_EQ(countOf(kGreen, 0, 0, 0, kWidth, kHeight), kWidth * kHeight);
  EXPECT_EQ(identifiedPixels(), kWidth * kHeight);
  _offscreen->scene().removeChild(overlay);
  _offscreen->draw();
  EXPECT_EQ(countOf(kRed, 0, 0, 0, kWidth, kHeight), kWidth * kHeight) << "masks of the overlay stay behind";
}

/// Of the colour writes of an attachment.
std::array<GLboolean, 4> writesTo(GLuint attachment) {
  void(GL_APIENTRY * query)(GLenum name, GLuint index, GLboolean * values) = nullptr;
  osg::setGLExtensionFuncPtr(query, "glGetBooleani_v");
  std::array<GLboolean, 4> writes{};
  query(GL_COLOR_WRITEMASK, attachment, writes.data());
  return writes;
}

/// The application's nodes may have masks of OpenSceneGraph itself.
TEST_P(CapturedCameraGLTest, allColourWritesAreEnabledAfterAFrameWhoseLastNodeMasksAttachments) {
  for (const bool isPlain : {false, true}) {
    const osg::ref_ptr<osg::Geometry> overlay = createOverlay(kSmallWall);
    osg::StateSet& state = *overlay->getOrCreateStateSet();
    state.setRenderBinDetails(10, "RenderBin");
    for (unsigned int attachment = 1; isPlain && attachment <= 4; ++attachment) {
      state.setAttribute(new osg::ColorMaski(attachment, false, false, false, false));
    }
    _offscreen->scene().removeChildren(0, _offscreen->scene().getNumChildren());
    _offscreen->scene().addChild(createNode(kEverywhere));
    _offscreen->scene().addChild(overlay);
    _offscreen->draw();
    _offscreen->makeCurrent();
    for (GLuint attachment = 0; attachment <= 4; ++attachment) {
      EXPECT_EQ(writesTo(attachment), (std::array<GLboolean, 4>{GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE})) << attachment;
    }
  }
}

TEST_P(CapturedCameraGLTest, aPostRenderCameraIsShownButNotCaptured) {
  IdentifiedQuad before = kEverywhere;
  before.corner.y() = 5.0f;
  before.colour = osg::Vec4(0.0f, 1.0f, 0.0f, 1.0f);
  _offscreen->scene().addChild(createNode(kEverywhere));
  osg::ref_ptr<osg::Camera> hud = new osg::Camera;
  hud->setRenderOrder(osg::Camera::POST_RENDER);
  hud->setClearMask(GL_DEPTH_BUFFER_BIT);
  hud->addChild(createOverlay(before));
  hud->getOrCreateStateSet()->setMode(GL_DEPTH_TEST, osg::StateAttribute::OFF);
  _offscreen->scene().addChild(hud);
  _offscreen->draw();
  EXPECT_EQ(countOf(kGreen, 0, 0, 0, kWidth, kHeight), kWidth * kHeight);
  EXPECT_EQ(identifiedPixels(), kWidth * kHeight);
}

/// A camera that renders a red wall to a texture, and reads it into an image.
class RenderToTexture {
 public:
  RenderToTexture(osg::Camera::RenderOrder order, bool toTexture)
      : _camera(new osg::Camera), _texture(new osg::Texture2D), _image(new osg::Image) {
    _texture->setTextureSize(kSize, kSize);
    _texture->setInternalFormat(GL_RGBA8);
    _texture->setSourceFormat(GL_RGBA);
    _texture->setFilter(osg::Texture::MIN_FILTER, osg::Texture::NEAREST);
    _image->allocateImage(kSize, kSize, 1, GL_RGBA, GL_UNSIGNED_BYTE);
    _camera->setRenderOrder(order);
    _camera->setRenderTargetImplementation(osg::Camera::FRAME_BUFFER_OBJECT);
    if (toTexture) {
      _camera->attach(osg::Camera::COLOR_BUFFER0, _texture);
    } else {
      _camera->attach(osg::Camera::COLOR_BUFFER0, _image);
    }
    _camera->setViewport(0, 0, kSize, kSize);
    _camera->setClearColor(osg::Vec4(0.0f, 1.0f, 0.0f, 1.0f));
    _camera->setClearMask(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    _camera->addChild(createOverlay(kEverywhere));
  }

  osg::Camera* camera() { return _camera; }

  bool isRed(osg::State& state, bool toTexture) {
    if (toTexture) {
      _texture->apply(state);
      glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, _image->data());
    }
    const osg::Vec4 red(1.0f, 0.0f, 0.0f, 1.0f);
    return _image->getColor(3U, 5U) == red && _image->getColor(kSize - 1, kSize - 1) == red;
  }

 private:
  static constexpr unsigned int kSize = 48;

  osg::ref_ptr<osg::Camera> _camera;
  osg::ref_ptr<osg::Texture2D> _texture;
  osg::ref_ptr<osg::Image> _image;
};

TEST_P(CapturedCameraGLTest, aCameraBelowItThatRendersToATextureKeepsItsOwnObject) {
  for (const osg::Camera::RenderOrder order : {osg::Camera::PRE_RENDER, osg::Camera::POST_RENDER}) {
    for (const bool toTexture : {true, false}) {
      _offscreen->scene().removeChildren(0, _offscreen->scene().getNumChildren());
      RenderToTexture inside(order, toTexture);
      _offscreen->scene().addChild(inside.camera());
      _offscreen->scene().addChild(createNode(kSmallWall));
      for (int i = 0; i < 3; ++i) {
        _offscreen->draw();
        _offscreen->makeCurrent();
        EXPECT_TRUE(inside.isRed(_offscreen->state(), toTexture)) << order << " " << toTexture << " " << i;
        EXPECT_NEAR(identifiedPixels(), 27.7 * 27.7, 2 * 27.7);
        EXPECT_EQ(countOf(kRed, 0, 0, 0, kWidth, kHeight), identifiedPixels());
      }
    }
  }
}

TEST_P(CapturedCameraGLTest, framesCauseNoGLError) {
  _offscreen->state().setCheckForGLErrors(osg::State::NEVER_CHECK_GL_ERRORS);
  _offscreen->scene().addChild(createNode(kSmallWall));
  _offscreen->scene().addChild(createOverlay(kEverywhere));
  camera().setDrawBuffer(GL_BACK);
  camera().setReadBuffer(GL_BACK);
  for (const int size : {20, 50}) {
    camera().setViewport(5, 3, size, size);
    _offscreen->draw();
    _offscreen->makeCurrent();
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
  }
}

INSTANTIATE_TEST_SUITE_P(Models, CapturedCameraGLTest, testing::ValuesIn(kThreadingModels), nameOf);

}  // namespace
