// Every subcommand refuses a folder, a FIFO and an endless device as its input file with
// status 2 and a message naming it, at once: nothing waits for a FIFO's writer or reads
// without end.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <map>
#include <sstream>

#include "support/test_support.h"

using namespace vellmark::test;
namespace fs = std::filesystem;

TEST(ProgramInputs, NoSubcommandReadsAFolderAFifoOrADevice) {
  ScratchDir dir;
  fs::create_directories(dir.path() / "members"), fs::create_directories(dir.path() / "afolder");
  ASSERT_EQ(::mkfifo(dir.file("afifo").c_str(), 0600), 0);
  const std::string out = dir.file("out");
  // IN stands for the input; the other inputs are real.
  const std::map<std::string, std::vector<std::string>> rows = {
      {"btc2tga", {"IN", out + ".tga"}}, {"tga2btc", {"IN", out + ".btc"}}, {"xpr2tga", {"IN", out + "base"}},
      {"flip-sky", {"-o", out, "IN"}}, {"sky-file", {"IN", "IN", out}}, {"mesh", {"IN", out}}, {"model", {"IN", out}},
      {"gltf", {"IN", out + ".glb"}}, {"info", {"IN"}},
      {"extract", {"IN", out}}, {"panorama", {"IN", out}}, {"raw-panorama", {"IN", out}}, {"list", {"IN"}},
      {"unpack", {"IN", out}}, {"pack", {"--order", "IN", dir.file("members"), out + ".arc"}},
      {"convert", {"IN", out + ".png"}}, {"sky", {"IN", out}}, {"contact-sheet", {"IN", out + ".png"}}};
  std::istringstream names(runCli({"--list-subcommands"}).out);
  for (std::string name; names >> name;) {
    SCOPED_TRACE(name);
    const auto row = rows.find(name);
    ASSERT_NE(row, rows.end()) << "a subcommand without a row here";
    for (const std::string& input : {dir.file("afolder"), dir.file("afifo"), std::string("/dev/zero")}) {
      std::vector<std::string> args = {name};
      for (const auto& a : row->second) args.push_back(a == "IN" ? input : a);
      const auto run = runCli(args);
      EXPECT_EQ(run.status, 2) << input << ": " << run.err;
      EXPECT_NE(run.err.find("'" + input + "'"), std::string::npos) << run.err;
    }
  }
}
