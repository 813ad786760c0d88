// The vellmark program against libvellmark.so: every export and its subcommand, on the same
// inputs, write the same files and show the same boxes.
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <map>
#include <set>

#include "support/test_support.h"

using namespace vellmark::test;
namespace fs = std::filesystem;

namespace {

struct Outcome {
  int status = -1;
  std::string out, err;
  std::map<std::string, std::vector<std::uint8_t>> files;  // everything left in the folder
};

// Runs `body` in a child process whose working folder is `folder` and whose standard streams
// go to files: the exports print, write into the working folder, and may end the process.
Outcome runIn(const fs::path& folder, const std::function<void()>& body) {
  fs::create_directories(folder);
  const fs::path out = folder.string() + ".out", err = folder.string() + ".err";
  std::fflush(nullptr);  // or the child writes this process's pending output again
  const pid_t child = fork();
  if (child == 0) {
    if (chdir(folder.c_str()) != 0) _exit(99);
    dup2(open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644), 1);
    dup2(open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644), 2);
    body();
    std::fflush(nullptr);
    _exit(0);
  }
  int raw = 0;
  waitpid(child, &raw, 0);
  Outcome o;
  o.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  auto text = [](const fs::path& p) { auto b = readFile(p); return std::string(b.begin(), b.end()); };
  o.out = text(out);
  o.err = text(err);
  for (const auto& e : fs::recursive_directory_iterator(folder))
    if (e.is_regular_file()) o.files[fs::relative(e.path(), folder).string()] = readFile(e.path());
  return o;
}

void runProgram(const std::vector<std::string>& args) {
  std::vector<char*> argv{const_cast<char*>(VELLMARK_CLI_PATH)};
  for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  execv(VELLMARK_CLI_PATH, argv.data());
  _exit(98);
}

template <class F>
F exported(const char* name) {
  static void* lib = dlopen(VELLMARK_SHARED_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
  return lib ? reinterpret_cast<F>(dlsym(lib, name)) : nullptr;
}

struct Case {
  const char* name;
  std::vector<std::string> args;  // the subcommand's, with IN/ standing for the inputs folder
  std::function<void(const std::string& in)> library;
};

std::string expand(std::string arg, const std::string& in) {
  if (arg.rfind("IN/", 0) == 0) arg = in + arg.substr(2);
  return arg;
}

}  // namespace

TEST(Program, EveryExportWritesWhatItsSubcommandWrites) {
  ScratchDir dir;
  const std::string in = dir.file("in");
  fs::create_directories(in);
  const std::string repo = std::string(VELLMARK_TEST_DATA_DIR) + "/../..";
  fs::copy_file(repo + "/samples/sample_course.arc", in + "/course.arc");
  writeFile(in + "/short.btc", {'B', 'T', 'C', 'V', 1, 0, 1, 0});
  writeFile(in + "/sky.tga", loadData("sky/sky_4800x320_bottom.tga.gz"));
  writeFile(in + "/preview.tga", loadData("sky/sky_preview_512x35_top.tga.gz"));
  ASSERT_EQ(runCli({"tga2btc", dataPath("textures/tree_bark_320x240_rgb24_bottomup.tga"), in + "/bark.btc"}).status, 0);
  ASSERT_EQ(runCli({"extract", in + "/course.arc", in + "/"}).status, 0);
  ASSERT_TRUE(fileExists(in + "/Panorama.lib"));
  for (const char* x : {"kwxport_test_cubewithvcolors.x", "BCN_Epileptic.X"})
    fs::copy_file(dataPath(std::string("xfiles/assimp/") + x), in + "/" + x);
  for (const char* seed : {"dxt5_cube.xpr", "argb_tail_user.xpr", "l8_linear_other.xpr"})
    fs::copy_file(repo + "/fuzz/corpus/xpr/" + seed, in + "/" + seed);
  auto stream = readFile(repo + "/fuzz/corpus/panorama_stream/tiled_300x260");  // its first byte picks the builder
  writeFile(in + "/raw.pan", std::vector<std::uint8_t>(stream.begin() + 1, stream.end()));

  using Memory = void (*)(const void*, int, const char*);
  using Paths = void (*)(const char*, const char*);
  using Three = void (*)(const char*, const char*, const char*);
  auto btc = [](const char* file, const char* out) {
    return [=](const std::string& in) {
      auto d = readFile(in + file);
      exported<void (*)(const void*, const char*, int)>("BTC2TGA")(d.data(), out, int(d.size()));
    };
  };
  auto memory = [](const char* name, const char* file) {
    return [=](const std::string& in) { auto d = readFile(in + file); exported<Memory>(name)(d.data(), 0, "./"); };
  };
  auto sky = [](const char* preview, const char* main) {
    return [=](const std::string& in) { exported<Three>("CreateSkyFile")((in + preview).c_str(), (in + main).c_str(), "."); };
  };
  std::vector<Case> all = {
      {"BTC2TGA", {"btc2tga", "IN/bark.btc", "bark.tga"}, btc("/bark.btc", "bark.tga")},
      {"BTC2TGA refuses", {"btc2tga", "IN/short.btc", "no.tga"}, btc("/short.btc", "no.tga")},
      {"ExtractMSCourse", {"extract", "IN/course.arc", ".", "--prefix", "e_"},
       [](const std::string& in) {
         auto d = readFile(in + "/course.arc");
         exported<void (*)(const unsigned char*, int, const char*)>("ExtractMSCourse")(d.data(), int(d.size()), "e_");
       }},
      {"CreatePanorama", {"panorama", "IN/Panorama.lib", "./"}, memory("CreatePanorama", "/Panorama.lib")},
      {"CreateUncompressedPanorama", {"raw-panorama", "IN/raw.pan", "./"}, memory("CreateUncompressedPanorama", "/raw.pan")},
      {"CreateSkyFile", {"sky-file", "IN/preview.tga", "IN/sky.tga", "."}, sky("/preview.tga", "/sky.tga")},
      {"CreateSkyFile refuses", {"sky-file", "IN/sky.tga", "IN/preview.tga", "."}, sky("/sky.tga", "/preview.tga")},
  };
  for (const char* x : {"kwxport_test_cubewithvcolors.x", "BCN_Epileptic.X"})
    all.push_back({"OpenDirectX", {"mesh", std::string("IN/") + x, "."},
                   [x](const std::string& in) { exported<Paths>("OpenDirectX")((in + "/" + x).c_str(), "."); }});
  for (const char* seed : {"dxt5_cube.xpr", "argb_tail_user.xpr", "l8_linear_other.xpr"})
    all.push_back({"xpr2tga", {"xpr2tga", std::string("IN/") + seed, "base"},
                   [seed](const std::string& in) { exported<Paths>("xpr2tga")((in + "/" + seed).c_str(), "base"); }});

  std::set<std::string> covered;
  for (std::size_t i = 0; i < all.size(); ++i) {
    const Case& c = all[i];
    std::vector<std::string> args;
    for (const auto& a : c.args) args.push_back(expand(a, in));
    const auto program = runIn(dir.path() / ("cli" + std::to_string(i)), [&] { runProgram(args); });
    const auto library = runIn(dir.path() / ("lib" + std::to_string(i)), [&] { c.library(in); });
    SCOPED_TRACE(std::string(c.name) + " " + c.args[1]);
    // Where the tool showed an error box the program also fails loudly: one more line, status 1.
    // The program names each texture it could not read on a line of its own.
    std::string err;
    for (std::size_t at = 0, end; at < program.err.size(); at = end + 1) {
      end = std::min(program.err.find('\n', at), program.err.size());
      if (program.err.compare(at, 18, "vellmark: texture ") != 0) err += program.err.substr(at, end + 1 - at);
    }
    if (program.status == 1 && library.status == 0) {
      EXPECT_EQ(err.rfind(library.err, 0), 0u) << err;
      err.erase(0, library.err.size());
      EXPECT_EQ(err.rfind("vellmark: error: ", 0), 0u) << err;
      EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1);
    } else {
      EXPECT_EQ(program.status, library.status);
      EXPECT_EQ(err, library.err);
    }
    EXPECT_EQ(program.out, library.out);
    EXPECT_EQ(program.files, library.files);
    if (!program.files.empty()) covered.insert(std::string(c.name).substr(0, std::string(c.name).find(' ')));
  }
  // Every export wrote something in at least one case, so no comparison above was vacuous.
  EXPECT_EQ(covered.size(), 7u);
}

TEST(Program, FlipTgaFileWritesBesideTheProgramAndHandsThePathBack) {
  ScratchDir dir;
  auto input = makeTga(16, 320, 32, 0x00, patternPixels(16, 320, 9));
  writeFile(dir.file("lib.tga"), input);
  writeFile(dir.file("cli.tga"), input);
  std::array<char, 4096> buffer{};
  std::snprintf(buffer.data(), buffer.size(), "%s", dir.file("lib.tga").c_str());
  auto flip = exported<void (*)(char*)>("FlipTgaFile");
  ASSERT_NE(flip, nullptr);
  flip(buffer.data());
  // The library runs inside this test program, so the folder is below the test's own folder.
  const std::string libOutput = fs::read_symlink("/proc/self/exe").parent_path().string() + "/skies//lib.prvtga";
  EXPECT_EQ(std::string(buffer.data()), libOutput);

  auto cli = runCli({"flip-sky", dir.file("cli.tga")});
  const std::string cliOutput = (fs::path(VELLMARK_CLI_PATH).parent_path() / "skies").string() + "//cli.prvtga";
  EXPECT_EQ(cli.status, 0);
  EXPECT_EQ(cli.err, "New TGA File: " + cliOutput + "\n");
  EXPECT_EQ(readFile(cliOutput), readFile(libOutput));
  fs::remove(cliOutput);
  fs::remove(libOutput);
}

TEST(SharedLibrary, ExportsExactlyTheEightTools) {
  const std::set<std::string> expected = {"BTC2TGA", "CreatePanorama", "CreateSkyFile", "CreateUncompressedPanorama",
                                          "FlipTgaFile", "OpenDirectX", "xpr2tga", "ExtractMSCourse"};
  FILE* p = popen(("nm -D --defined-only '" + std::string(VELLMARK_SHARED_LIBRARY_PATH) + "'").c_str(), "r");
  ASSERT_NE(p, nullptr);
  std::set<std::string> exported;
  char line[512], type = 0, name[256];
  while (std::fgets(line, sizeof line, p))
    if (std::sscanf(line, "%*s %c %255s", &type, name) == 2 && type == 'T') exported.insert(name);
  pclose(p);
  EXPECT_EQ(exported, expected);
}
