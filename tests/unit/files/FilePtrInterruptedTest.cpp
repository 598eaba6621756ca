#include "support/FilesFixture.h"
#include "support/InterruptedOpen.h"

#include <QuorOsgUtils/FilePtr.h>

#include <osg/ref_ptr>

#include <gtest/gtest.h>

namespace {

using QuorOsgUtils::FilePtr;
using namespace QuorTests;

class FilePtrInterruptedTest : public FilesFixture {};

TEST_F(FilePtrInterruptedTest, openIsRetriedIfASignalInterruptsIt) {
  const std::string name = makeFile("scan", 10);
  interruptNextOpens(3);
  ::testing::internal::CaptureStderr();
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(interruptionsLeft(), 0);
  EXPECT_TRUE(file->isValid());
  EXPECT_NE(file->map(0, 10), nullptr);
}

}  // namespace
