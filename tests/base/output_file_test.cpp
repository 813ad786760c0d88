#include "base/file_io.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "base/error.h"
#include "support/test_support.h"

using namespace vellmark;
using namespace vellmark::test;
namespace fs = std::filesystem;

namespace {

std::vector<std::uint8_t> text(const std::string& s) { return {s.begin(), s.end()}; }

std::size_t entriesIn(const fs::path& folder) {
  return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

// The final name only ever holds a whole file: nothing until commit, the old content when the
// writer is dropped, and a link at the final name is replaced rather than written through.
}  // namespace

TEST(OutputFile, FinalNameHoldsOnlyCompleteFiles) {
  ScratchDir dir;
  const std::string path = dir.file("out.bin");
  writeFile(dir.file("victim"), text("keep"));
  fs::create_symlink(dir.file("victim"), path);
  {
    OutputFile file(path);
    ASSERT_TRUE(file.write(text("xxxxabcd")));
    ASSERT_TRUE(file.writeAt(0, text("head")));
    ASSERT_TRUE(file.write(text("!")));
    EXPECT_EQ(readFile(dir.file("victim")), text("keep"));
    EXPECT_EQ(entriesIn(dir.path()), 3u);  // the temporary beside them
    ASSERT_TRUE(file.commit());
  }
  EXPECT_FALSE(fs::is_symlink(path));
  EXPECT_EQ(readFile(path), text("headabcd!"));
  EXPECT_EQ(readFile(dir.file("victim")), text("keep"));
  {
    OutputFile dropped(path);
    dropped.write(text("partial"));
  }
  EXPECT_EQ(readFile(path), text("headabcd!"));
  EXPECT_EQ(entriesIn(dir.path()), 2u);
  EXPECT_THROW(OutputFile(dir.file("absent/x.bin")), Error);
  EXPECT_FALSE(writeWholeFile(dir.file("absent/x.bin"), text("x")));
}
