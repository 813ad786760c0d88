#include "base/file_names.h"

#include <gtest/gtest.h>

#include <vector>

using namespace vellmark;

TEST(FileNames, RefusesEveryNameThatCouldLeaveTheFolderOrChangeOnWindows) {
  const std::string windows = "the name contains one of < > \" | ? *, which Windows does not allow";
  const struct { std::vector<std::string> names; std::string problem; } cases[] = {
      {{""}, "the name is empty"},
      {{"."}, "the name \".\" is the output folder itself"},
      {{"..", "...", "a..b", "../up"}, "the name contains \"..\""},
      {{"/etc/passwd", "sub\\x"}, "the name contains a path separator"},
      {{"C:evil"}, "the name begins with a drive letter"},
      {{"ab:stream", "file.txt:x"}, "the name contains ':'"},
      {{"bell\x07", std::string("nul\0byte", 8), "esc\x1B[2J", "del\x7F"}, "the name contains a control character"},
      {{"a|b", "a?b", "a*b", "a<b", "a>b", "a\"b"}, windows},
      {{"trailing.", "trailing "}, "the name ends in a dot or a blank"},
      {{"prn", "AUX.x", "nul.tar.gz", "CONIN$", "com0", "LPT9.dat"}, "the name is a Windows device name"},
      {{std::string(32, 'n')}, "the name is 32 bytes long, more than the 31 allowed"},
      {{std::string(31, 'n'), "_s_k_y_94.tga", "a b.tga", ".hidden", "CONSOLE.txt", "com10", "xcon.txt", "\xE9t\xE9.wav",
        "a.b.c", " x"}, "accepted"},
  };
  for (const auto& c : cases)
    for (const auto& name : c.names) EXPECT_EQ(fileNameProblem(name, 31).value_or("accepted"), c.problem) << printableName(name);
  EXPECT_FALSE(fileNameProblem(std::string(kMaxFileNameBytes, 'n')));
  EXPECT_TRUE(fileNameProblem(std::string(kMaxFileNameBytes + 1, 'n')));
}

TEST(FileNames, PrintableNamesAndNamesThatDifferOnlyInCase) {
  EXPECT_EQ(printableName(std::string("a\"b\\c\x01\x1B[31m\xE9\0z", 14)), R"(a"b\x5Cc\x01\x1B[31m\xE9\x00z)");
  FileNameSet names;
  for (const char* name : {"ok.txt", "\xC9.txt", "\xE9.txt"}) EXPECT_EQ(names.insert(name), std::nullopt) << name;
  EXPECT_EQ(names.insert("OK.TXT"), "ok.txt");  // bytes above ASCII are not folded, ASCII letters are
  EXPECT_EQ(names.insert("ok.txt"), "ok.txt");
  EXPECT_TRUE(names.contains("Ok.Txt"));
}
