#include "engine/core/PathDatabase.h"

#include "engine/core/Stream.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace PathDatabase = engine::core::PathDatabase;
using engine::core::Stream;
using engine::core::test::TemporaryDirectory;
using engine::core::test::WorkingDirectory;
using Roots = std::vector<std::string>;

namespace {

// Gives each test two root directories with overlapping content and restores the
// process-wide roots afterwards.
class PathDatabaseTest : public ::testing::Test {
protected:
    void SetUp() override {
        saved_ = PathDatabase::roots();
        for (const std::string& root : saved_) PathDatabase::remove_root(root);
        first_.write("shared.txt", "from first");
        first_.write("only-first.txt", "first only");
        second_.write("shared.txt", "from second");
        second_.write("sub/only-second.txt", "second only");
    }
    void TearDown() override {
        for (const std::string& root : PathDatabase::roots()) PathDatabase::remove_root(root);
        for (const std::string& root : saved_) PathDatabase::add_root(root);
    }

    std::string read(const std::string& path) {
        std::string content;
        EXPECT_TRUE(PathDatabase::read(path, content)) << path;
        return content;
    }

    TemporaryDirectory first_, second_;
    Roots saved_;
};

}  // namespace

TEST_F(PathDatabaseTest, RootsKeepTheOrderTheyWereAddedIn) {
    PathDatabase::add_root(second_.path());
    PathDatabase::add_root(first_.path());
    EXPECT_EQ(PathDatabase::roots(), (Roots{second_.path(), first_.path()}));
}

TEST_F(PathDatabaseTest, DuplicateRootIsNotAddedTwice) {
    PathDatabase::add_root(first_.path());
    PathDatabase::add_root(second_.path());
    PathDatabase::add_root(first_.path());
    EXPECT_EQ(PathDatabase::roots(), (Roots{first_.path(), second_.path()}));
}

TEST_F(PathDatabaseTest, RemoveRootTakesItOutOfTheSearch) {
    PathDatabase::add_root(first_.path());
    PathDatabase::add_root(second_.path());
    PathDatabase::remove_root(first_.path());
    EXPECT_EQ(PathDatabase::roots(), (Roots{second_.path()}));
    EXPECT_FALSE(PathDatabase::exists("only-first.txt"));
    EXPECT_EQ(read("shared.txt"), "from second");
}

TEST_F(PathDatabaseTest, RemovingAnUnknownRootDoesNothing) {
    PathDatabase::add_root(first_.path());
    PathDatabase::remove_root("/no/such/root");
    EXPECT_EQ(PathDatabase::roots(), (Roots{first_.path()}));
}

TEST_F(PathDatabaseTest, RelativePathIsLookedUpInRootOrder) {
    PathDatabase::add_root(first_.path());
    PathDatabase::add_root(second_.path());
    EXPECT_EQ(read("shared.txt"), "from first");
    EXPECT_EQ(PathDatabase::resolve("shared.txt"), first_.path() + "/shared.txt");
    EXPECT_EQ(read("sub/only-second.txt"), "second only");
    EXPECT_EQ(PathDatabase::resolve("sub/only-second.txt"), second_.path() + "/sub/only-second.txt");
}

TEST_F(PathDatabaseTest, RootWithTrailingSeparatorJoinsCleanly) {
    PathDatabase::add_root(first_.path() + "/");
    EXPECT_EQ(PathDatabase::resolve("shared.txt"), first_.path() + "/shared.txt");
}

TEST_F(PathDatabaseTest, AbsolutePathIsUsedAsItIs) {
    PathDatabase::add_root(first_.path());
    const std::string absolute = second_.path() + "/shared.txt";
    EXPECT_EQ(PathDatabase::resolve(absolute), absolute);
    EXPECT_EQ(read(absolute), "from second");
    // An absolute path is not looked up under the roots.
    EXPECT_FALSE(PathDatabase::exists("/only-first.txt"));
}

TEST_F(PathDatabaseTest, WorkingDirectoryIsSearchedAfterTheRoots) {
    TemporaryDirectory working;
    working.write("shared.txt", "from working directory");
    working.write("only-working.txt", "working only");
    WorkingDirectory change(working.path());
    EXPECT_EQ(read("shared.txt"), "from working directory");
    PathDatabase::add_root(first_.path());
    EXPECT_EQ(read("shared.txt"), "from first");
    EXPECT_EQ(read("only-working.txt"), "working only");
    EXPECT_EQ(PathDatabase::resolve("only-working.txt"), "only-working.txt");
}

TEST_F(PathDatabaseTest, MissingFileIsNotFound) {
    PathDatabase::add_root(first_.path());
    EXPECT_FALSE(PathDatabase::exists("missing.txt"));
    EXPECT_EQ(PathDatabase::resolve("missing.txt"), "");
    EXPECT_FALSE(PathDatabase::exists(""));
    std::string content = "unchanged";
    EXPECT_FALSE(PathDatabase::read("missing.txt", content));
}

TEST_F(PathDatabaseTest, DirectoryIsNotAFile) {
    PathDatabase::add_root(second_.path());
    EXPECT_FALSE(PathDatabase::exists("sub"));
    EXPECT_EQ(std::unique_ptr<Stream>(PathDatabase::open("sub")), nullptr);
}

TEST_F(PathDatabaseTest, OpenReturnsNullForMissingFile) {
    PathDatabase::add_root(first_.path());
    EXPECT_EQ(std::unique_ptr<Stream>(PathDatabase::open("missing.txt")), nullptr);
    EXPECT_EQ(std::unique_ptr<Stream>(PathDatabase::open("/no/such/file")), nullptr);
}

TEST_F(PathDatabaseTest, StreamReportsSizeAndReadsInPieces) {
    PathDatabase::add_root(first_.path());
    std::unique_ptr<Stream> stream(PathDatabase::open("only-first.txt"));
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(stream->get_size(), 10u);
    char buffer[16] = {};
    EXPECT_EQ(stream->read(buffer, 5), 5u);
    EXPECT_EQ(std::string(buffer, 5), "first");
    EXPECT_EQ(stream->get_size(), 10u);
    EXPECT_EQ(stream->read(buffer, sizeof buffer), 5u);  // fewer only at the end
    EXPECT_EQ(std::string(buffer, 5), " only");
    EXPECT_EQ(stream->read(buffer, sizeof buffer), 0u);
}

TEST_F(PathDatabaseTest, ReadGivesTheWholeFileIncludingBinaryBytes) {
    std::string binary;
    for (int i = 0; i < 3000; ++i) binary.push_back(char(i % 256));
    first_.write("blob.bin", binary);
    PathDatabase::add_root(first_.path());
    EXPECT_EQ(read("blob.bin"), binary);
}

TEST_F(PathDatabaseTest, EmptyFileReadsAsEmpty) {
    first_.write("empty.txt", "");
    PathDatabase::add_root(first_.path());
    EXPECT_TRUE(PathDatabase::exists("empty.txt"));
    std::string content = "not empty";
    EXPECT_TRUE(PathDatabase::read("empty.txt", content));
    EXPECT_EQ(content, "");
}
