#include "support/PixelBuffer.h"
#include "support/Removal.h"

#include <osg/BufferObject>
#include <osg/GLExtensions>
#include <osg/GLObjects>
#include <osg/Geometry>
#include <osg/RenderInfo>
#include <osg/State>
#include <osg/Texture2D>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

using namespace QuorTests;

namespace {

/// The GPU objects of a scan: a texture and a vertex buffer.
struct Names {
  GLuint texture = 0;
  GLuint buffer = 0;
};

osg::ref_ptr<osg::Texture2D> smallTexture() {
  osg::ref_ptr<osg::Image> image = new osg::Image;
  image->allocateImage(4, 4, 1, GL_RGBA, GL_UNSIGNED_BYTE);
  return new osg::Texture2D(image);
}

osg::ref_ptr<osg::Geometry> drawableNode() {
  osg::ref_ptr<osg::Geometry> geometry = new osg::Geometry;
  geometry->setUseVertexBufferObjects(true);
  geometry->setUseDisplayList(false);
  geometry->setVertexArray(new osg::Vec3Array(4));
  geometry->addPrimitiveSet(new osg::DrawArrays(GL_POINTS, 0, 4));
  geometry->getOrCreateStateSet()->setTextureAttributeAndModes(0, smallTexture());
  return geometry;
}

osg::Texture2D* textureOf(osg::Node& node) {
  return dynamic_cast<osg::Texture2D*>(node.getStateSet()->getTextureAttribute(0, osg::StateAttribute::TEXTURE));
}

/// Uploads the node's objects to the GPU, as drawing would. Called on the graphics thread.
Names upload(osg::Geometry& geometry, osg::State& state) {
  osg::RenderInfo renderInfo(&state, nullptr);
  osg::Texture2D* const texture = textureOf(geometry);
  texture->apply(state);  // the state would skip a texture at the address of an earlier one
  geometry.compileGLObjects(renderInfo);
  const unsigned int contextID = state.getContextID();
  return {texture->getTextureObject(contextID)->id(),
          geometry.getVertexArray()->getVertexBufferObject()->getOrCreateGLBufferObject(contextID)->getGLObjectID()};
}

bool onCard(const Names& names, osg::State& state) {
  return glIsTexture(names.texture) == GL_TRUE && state.get<osg::GLExtensions>()->glIsBuffer(names.buffer) == GL_TRUE;
}

bool goneFromCard(const Names& names, osg::State& state) {
  return glIsTexture(names.texture) == GL_FALSE && state.get<osg::GLExtensions>()->glIsBuffer(names.buffer) == GL_FALSE;
}

/// Two off-screen contexts, each with a graphics thread, and an operation that runs on both.
class DecrementalCompileOperationGLTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const osg::ref_ptr<osg::GraphicsContext> first = pixelBuffer();
    const osg::ref_ptr<osg::GraphicsContext> second = pixelBuffer();
    ASSERT_TRUE(first.valid() && second.valid()) << "no off-screen context; is there a display?";
    for (osg::GraphicsContext* const context : {first.get(), second.get()}) {
      _contexts.push_back(std::make_unique<ContextOnThread>(context));
      _operation->addGraphicsContext(context);
    }
  }

  void TearDown() override {
    for (const auto& context : _contexts) {
      _operation->removeGraphicsContext(context->get());
    }
    _contexts.clear();
  }

  osg::State& state(std::size_t i) { return *_contexts[i]->get()->getState(); }

  Names uploadTo(std::size_t i, osg::Geometry& geometry) {
    Names names;
    _contexts[i]->call([&] { names = upload(geometry, state(i)); });
    return names;
  }

  bool holds(std::size_t i, bool (*claim)(const Names&, osg::State&), const Names& names) {
    bool held = false;
    _contexts[i]->call([&] { held = claim(names, state(i)); });
    return held;
  }

  /// Does what the following frames would do.
  void flush(std::size_t i) {
    _contexts[i]->call([&] { osg::flushAllDeletedGLObjects(state(i).getContextID()); });
  }

  std::vector<std::unique_ptr<ContextOnThread>> _contexts;
  osg::ref_ptr<Removal> _operation = new Removal;
  osg::ref_ptr<osg::Group> _group = new osg::Group;
};

}  // namespace

TEST_F(DecrementalCompileOperationGLTest, aNodesTextureAndBufferAreDeletedInEveryContextAfterItsLastReference) {
  osg::ref_ptr<osg::Geometry> node = drawableNode();
  _group->addChild(node);
  const Names names[] = {uploadTo(0, *node), uploadTo(1, *node)};
  ASSERT_TRUE(holds(0, onCard, names[0]) && holds(1, onCard, names[1]));
  const osg::observer_ptr<osg::Node> observed = node.get();
  _operation->add(_group, node);
  node = nullptr;

  _contexts[0]->run();
  EXPECT_FALSE(observed.valid());
  flush(0);
  flush(1);
  EXPECT_TRUE(holds(0, goneFromCard, names[0]));
  EXPECT_TRUE(holds(1, goneFromCard, names[1]));
}

TEST_F(DecrementalCompileOperationGLTest, aNodeThatTheApplicationStillHoldsKeepsItsGLObjects) {
  const osg::ref_ptr<osg::Geometry> node = drawableNode();
  _group->addChild(node);
  const Names names = uploadTo(0, *node);
  _operation->add(_group, node);
  _contexts[0]->run();
  flush(0);
  EXPECT_EQ(_group->getNumChildren(), 0U);
  EXPECT_TRUE(holds(0, onCard, names));
}

TEST_F(DecrementalCompileOperationGLTest, theRunTakesPlaceOnTheContextsGraphicsThreadWithTheContextCurrent) {
  OpenThreads::Thread* ran = nullptr;
  bool current = false;
  _operation->add(setWithCallback(_group, nullptr, [&](DeleteSet*) {
    ran = OpenThreads::Thread::CurrentThread();
    current = glGetString(GL_VERSION) != nullptr;
  }));
  _contexts[1]->run();
  EXPECT_EQ(ran, _contexts[1]->get()->getGraphicsThread());
  EXPECT_TRUE(current);
}

TEST_F(DecrementalCompileOperationGLTest, theRunLeavesTheContextCurrentAndWithoutErrors) {
  osg::ref_ptr<osg::Geometry> node = drawableNode();
  _group->addChild(node);
  uploadTo(0, *node);
  _operation->add(_group, node);
  node = nullptr;
  _contexts[0]->call([] {
    while (glGetError() != GL_NO_ERROR) {
    }
  });
  GLenum error = GL_INVALID_ENUM;
  bool current = false;
  _contexts[0]->run();
  _contexts[0]->call([&] {
    current = glGetString(GL_VERSION) != nullptr;
    error = glGetError();
  });
  EXPECT_TRUE(current);
  EXPECT_EQ(error, static_cast<GLenum>(GL_NO_ERROR));
}

TEST_F(DecrementalCompileOperationGLTest, aThousandNodesRemovedOnTwoGraphicsThreadsLeaveNothingBehind) {
  const int aliveBefore = Counted::alive();
  std::vector<Names> names;
  for (int i = 0; i < 1000; ++i) {
    const osg::ref_ptr<osg::Group> node = new Counted;
    const osg::ref_ptr<osg::Geometry> geometry = drawableNode();
    node->addChild(geometry);
    _group->addChild(node);
    if (i % 10 == 0) {
      names.push_back(uploadTo(0, *geometry));
    }
    _operation->add(_group, node);
    // Both threads finish their run before the next node is added to the group.
    for (const auto& context : _contexts) {
      context->startRuns(1);
    }
    for (const auto& context : _contexts) {
      context->call({});
    }
  }
  EXPECT_TRUE(_operation->isEmpty());
  EXPECT_EQ(_group->getNumChildren(), 0U);
  EXPECT_EQ(Counted::alive(), aliveBefore);
  flush(0);
  int left = 0;
  for (const Names& name : names) {
    left += holds(0, goneFromCard, name) ? 0 : 1;
  }
  EXPECT_EQ(left, 0);
}
