#include "support/FilesFixture.h"
#include "support/Work.h"

#include <QuorOsgUtils/FileCmd.h>
#include <QuorOsgUtils/FileManager.h>
#include <QuorOsgUtils/FilePtr.h>

#include <osg/ref_ptr>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

using QuorOsgUtils::CloseFile;
using QuorOsgUtils::FileCmd;
using QuorOsgUtils::FileManager;
using QuorOsgUtils::FilePtr;
using QuorOsgUtils::OpenFile;
using QuorOsgUtils::RegisterFile;
using QuorOsgUtils::RemoveFile;
using namespace QuorTests;

namespace {

void nothing(Work::Proxy) {}

/// Commands that record by name which of them are destroyed.
class FileCmdTest : public FilesFixture {
 protected:
  Work* make(const std::string& name, bool autoDelete) {
    auto* const work = new Work("file", FileCmd::Normal, nothing, [this, name] { _destroyed += name; });
    work->setAutoDelete(autoDelete);
    return work;
  }

  /// A direct call, the only one in which OpenFile does anything.
  static void callDirectly(FileCmd&& cmd) { cmd(nullptr, &manager()); }

  std::string _destroyed;
};

std::string chainOf(const FileCmd* cmd) {
  std::string files;
  for (; cmd != nullptr; cmd = cmd->getNext()) {
    files += cmd->getFile();
  }
  return files;
}

}  // namespace

TEST_F(FileCmdTest, aNewCommandHasItsFileAndPriorityNoNextAndNoAutoDelete) {
  static_assert(std::has_virtual_destructor_v<FileCmd> && std::is_abstract_v<FileCmd>);
  static_assert(!std::is_copy_constructible_v<FileCmd> && !std::is_copy_assignable_v<FileCmd>);
  static_assert(sizeof(FileCmd::Priority) == 4 && FileCmd::High == 0 && FileCmd::Normal == 1 && FileCmd::Low == 2);
  for (const auto priority : {FileCmd::High, FileCmd::Normal, FileCmd::Low, static_cast<FileCmd::Priority>(3)}) {
    const OpenFile cmd("town.las", priority);
    EXPECT_EQ(cmd.getFile(), "town.las");
    EXPECT_EQ(cmd.getPriority(), priority);
    EXPECT_EQ(cmd.getNext(), nullptr);
    EXPECT_FALSE(cmd.getAutoDelete());
  }
}

TEST_F(FileCmdTest, autoDeleteIsAsItWasSet) {
  CloseFile cmd("file", FileCmd::Low);
  cmd.setAutoDelete(true);
  EXPECT_TRUE(cmd.getAutoDelete());
  cmd.setAutoDelete(false);
  EXPECT_FALSE(cmd.getAutoDelete());
}

TEST_F(FileCmdTest, setNextPutsTheCommandBetweenThisOneAndItsNext) {
  // A chain is destroyed from its front, so its last stands first here.
  Work b("b", FileCmd::Normal, nothing);
  Work d("d", FileCmd::Normal, nothing);
  Work c("c", FileCmd::Normal, nothing);
  Work a("a", FileCmd::Normal, nothing);
  a.setNext(&b);
  EXPECT_EQ(chainOf(&a), "ab");
  a.setNext(&c);
  EXPECT_EQ(chainOf(&a), "acb");
  c.setNext(&d);
  EXPECT_EQ(chainOf(&a), "acdb");
}

TEST_F(FileCmdTest, setNextIgnoresNullAndTheCommandItself) {
  Work b("b", FileCmd::Normal, nothing);
  Work a("a", FileCmd::Normal, nothing);
  a.setNext(&b);
  a.setNext(nullptr);
  a.setNext(&a);
  EXPECT_EQ(chainOf(&a), "ab");
}

TEST_F(FileCmdTest, setNextWithTheCurrentNextCommandCreatesNoCycle) {
  Work* const b = make("b", true);
  Work* const a = make("a", true);
  a->setNext(b);
  a->setNext(b);
  ASSERT_EQ(b->getNext(), nullptr);
  delete a;
  EXPECT_EQ(_destroyed, "ab");
}

TEST_F(FileCmdTest, setNextIgnoresACommandThatAlreadyFollowsFurtherDownTheChain) {
  Work d("d", FileCmd::Normal, nothing);
  Work c("c", FileCmd::Normal, nothing);
  Work b("b", FileCmd::Normal, nothing);
  Work a("a", FileCmd::Normal, nothing);
  a.setNext(&b);
  b.setNext(&c);
  c.setNext(&d);
  a.setNext(&c);
  a.setNext(&d);
  ASSERT_EQ(d.getNext(), nullptr) << "otherwise the chain is a loop";
  EXPECT_EQ(chainOf(&a), "abcd");
}

TEST_F(FileCmdTest, aCommandThatOnceFollowedAnotherMayFollowThisOne) {
  Work b("b", FileCmd::Normal, nothing);
  Work a("a", FileCmd::Normal, nothing);
  {
    Work former("f", FileCmd::Normal, nothing);
    former.setNext(&b);
  }
  a.setNext(&b);
  EXPECT_EQ(chainOf(&a), "ab");
}

TEST_F(FileCmdTest, inTheDestructorOfAChainedCommandGetNextStillReturnsTheNextOne) {
  std::array<Work*, 3> chain{};
  std::vector<const FileCmd*> nextSeen;
  for (Work*& cmd : chain) {
    cmd = new Work("file", FileCmd::Normal, nothing, [&cmd, &nextSeen] { nextSeen.push_back(cmd->getNext()); });
    cmd->setAutoDelete(true);
  }
  chain[0]->setNext(chain[1]);
  chain[1]->setNext(chain[2]);
  delete chain[0];
  EXPECT_THAT(nextSeen, ::testing::ElementsAre(chain[1], chain[2], nullptr));
}

TEST_F(FileCmdTest, aCommandThatADestructorAddsToTheChainIsDeletedAfterIt) {
  Work* const head = make("head ", true);
  Work* const second = new Work("file", FileCmd::Normal, nothing);
  Work* const last = make("last ", true);
  second->setAutoDelete(true);
  head->setNext(second);
  second->setNext(last);
  Work* const added = make("added ", true);
  Work* adding = nullptr;
  adding = new Work("file", FileCmd::Normal, nothing, [&] { adding->setNext(added); });
  adding->setAutoDelete(true);
  second->setNext(adding);
  delete head;
  EXPECT_EQ(_destroyed, "head added last ");
}

TEST_F(FileCmdTest, aCommandDeletesItsNextOnlyIfThatHasAutoDelete) {
  Work* const head = make("head ", false);
  head->setNext(make("next ", true));
  delete head;
  EXPECT_EQ(_destroyed, "head next ");
  _destroyed.clear();
  const std::unique_ptr<Work> kept(make("kept ", false));
  Work* const other = make("other ", true);
  other->setNext(kept.get());
  delete other;
  EXPECT_EQ(_destroyed, "other ");
}

TEST_F(FileCmdTest, deletionEndsAtTheFirstCommandWithoutAutoDelete) {
  const std::unique_ptr<Work> kept(make("c", false));
  Work* const head = make("a", true);
  Work* const second = make("b", true);
  Work* const last = make("d", true);
  head->setNext(second);
  second->setNext(kept.get());
  kept->setNext(last);
  delete head;
  EXPECT_EQ(_destroyed, "ab");
  EXPECT_EQ(kept->getNext(), last);
}

TEST_F(FileCmdTest, aChainOfAMillionIsDeletedWithoutExhaustingTheStack) {
  constexpr int kCommands = 1000000;
  int destroyed = 0;
  auto* const head = new Work("file", FileCmd::Normal, nothing);
  for (int i = 0; i < kCommands; ++i) {
    auto* const next = new Work("file", FileCmd::Normal, nothing, [&destroyed] { ++destroyed; });
    next->setAutoDelete(true);
    head->setNext(next);
  }
  delete head;
  EXPECT_EQ(destroyed, kCommands);
}

TEST_F(FileCmdTest, withoutAProxyMapReturnsNullAndUnmapDoesNothing) {
  int elsewhere = 0;
  EXPECT_EQ(Work::map(nullptr, 0, 10), nullptr);
  Work::unmap(nullptr, &elsewhere);
}

TEST_F(FileCmdTest, openFileCalledDirectlyOpensAndClosesAFileThatTheManagerDoesNotKnow) {
  const std::string name = makeFile("scan", 10);
  ::testing::internal::CaptureStderr();
  callDirectly(OpenFile(name, FileCmd::Normal));
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  EXPECT_TRUE(listedHandles(name).empty());
  const WriteProtection protection(name);
  ::testing::internal::CaptureStderr();
  callDirectly(OpenFile(name, FileCmd::Normal));
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "Error creating file: " + std::to_string(fileErrors().notWritable) + "\n")
      << "the file can be read, but opening it for writing is refused";
}

TEST_F(FileCmdTest, openFileOfAMissingFileOrOfAPipeDoesNothingAndReportsNothing) {
  const std::string pipe = makePipe(folder());
  ::testing::internal::CaptureStderr();
  callDirectly(OpenFile(path("missing"), FileCmd::Normal));
  callDirectly(OpenFile(pipe, FileCmd::Normal));
  callDirectly(OpenFile("", FileCmd::Normal));
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST_F(FileCmdTest, openFileCalledDirectlyOpensARegisteredFileAgainAndLeavesAnOpenOneAlone) {
  const std::string name = makeFile("scan", 10);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  callDirectly(RegisterFile(file, FileCmd::Normal));
  file->close();
  callDirectly(OpenFile(name, FileCmd::Normal));
  EXPECT_TRUE(file->isOpen());
  const void* const view = file->map(0, 10);
  callDirectly(OpenFile(name, FileCmd::Normal));
  EXPECT_EQ(std::string(static_cast<const char*>(view), 10), readPlainly(name, 0, 10));
  EXPECT_EQ(listedHandles(name).size(), 1U);
}

TEST_F(FileCmdTest, closeFileAndRemoveFileCalledDirectlyDoNothing) {
  const std::string name = makeFile("scan", 10);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  callDirectly(RegisterFile(file, FileCmd::Normal));
  callDirectly(CloseFile(name, FileCmd::Normal));
  callDirectly(RemoveFile(name, FileCmd::Normal));
  EXPECT_TRUE(file->isOpen());
  EXPECT_TRUE(std::filesystem::exists(name));
}

TEST_F(FileCmdTest, openFileAndRegisterFileWithoutAManagerDoNothing) {
  const std::string name = makeFile("scan", 10);
  const osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  OpenFile open(name, FileCmd::Normal);
  RegisterFile registration(file, FileCmd::Normal);
  open(nullptr, nullptr);
  registration(nullptr, nullptr);
  EXPECT_EQ(file->referenceCount(), 2) << "the references of the test and the command";
}

TEST_F(FileCmdTest, registerFileHasThePathOfItsFileAndKeepsIt) {
  const std::string name = makeFile("scan", 10);
  osg::ref_ptr<FilePtr> file = new FilePtr(name.c_str());
  {
    const RegisterFile cmd(file, FileCmd::Low);
    EXPECT_EQ(cmd.getFile(), name);
    EXPECT_EQ(cmd.getPriority(), FileCmd::Low);
    EXPECT_EQ(file->referenceCount(), 2);
  }
  EXPECT_EQ(file->referenceCount(), 1);
  EXPECT_EQ(RegisterFile(nullptr, FileCmd::Low).getFile(), "");
  callDirectly(RegisterFile(nullptr, FileCmd::Low));
}
