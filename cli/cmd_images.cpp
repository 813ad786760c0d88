// btc2tga, tga2btc and xpr2tga: one input and its output, or several inputs into a folder.
#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>

#include "base/error.h"
#include "base/file_names.h"
#include "base/ordered_parallel.h"
#include "cli/batch.h"
#include "cli/commands.h"
#include "cli/output_paths.h"
#include "tools/btc_to_tga.h"
#include "tools/btc_writers.h"
#include "tools/xpr_to_tga.h"

namespace vellmark::cli {

namespace {

namespace fs = std::filesystem;

struct ImageArgs {
  std::vector<std::string> paths;
  std::string outputDir;
  bool noClobber = false;
  bool png = false;  // xpr2tga only
};

std::shared_ptr<ImageArgs> addImageOptions(CLI::App* sub, const char* pathsHelp) {
  auto a = std::make_shared<ImageArgs>();
  sub->add_option("FILES", a->paths, pathsHelp)->required();
  sub->add_option("-o,--output-dir", a->outputDir,
                  "convert every FILE into this folder (made when missing), named after the input")
      ->type_name("DIR");
  sub->add_flag("--no-clobber", a->noClobber, "refuse to overwrite an existing output");
  return a;
}

bool endsWithNoCase(const std::string& s, const std::string& tail) {
  if (s.size() < tail.size()) return false;
  return std::equal(tail.begin(), tail.end(), s.end() - static_cast<std::ptrdiff_t>(tail.size()),
                    [](char a, char b) { return std::tolower(static_cast<unsigned char>(a)) == b; });
}

// The IN OUT form: the pair, with the usage checked.
std::pair<std::string, std::string> singlePair(const ImageArgs& a, const char* name) {
  if (a.paths.size() != 2)
    fail(ErrorKind::Argument, std::string(name) + " takes IN OUT, or -o DIR and one or more inputs (got " +
                                  std::to_string(a.paths.size()) + " files without -o)");
  if (a.noClobber && stampOf(a.paths[1]))
    throw OutputError("'" + a.paths[1] + "' exists and --no-clobber is given");
  return {a.paths[0], a.paths[1]};
}

// One output per input in `folder`; two inputs of one name would overwrite each other.
std::vector<BatchItem> folderItems(const ImageArgs& a, const std::string& folder, const std::string& extension) {
  std::vector<BatchItem> items;
  std::map<std::string, std::string> seen;
  for (const auto& in : a.paths) {
    const std::string out = extension.empty() ? stemOf(in) : asPrefix(folder) + stemOf(in) + extension;
    if (auto [it, fresh] = seen.emplace(out, in); !fresh)
      fail(ErrorKind::Argument, "'" + it->second + "' and '" + in + "' would both be written as '" + out + "'");
    items.push_back({in, extension.empty() ? std::string() : out});
  }
  return items;
}

void throwOnErrorBox(ProgramHost& host, const std::string& input) {
  const auto errors = host.takeErrors();
  if (!errors.empty()) throw OutputError("'" + input + "': " + errors.front());
}

int runBtcToTga(ProgramHost& host, const ImageArgs& a) {
  auto convert = [](Host& h, const std::string& in, const std::string& out) { btcToTga(h, readInput(in), out); };
  if (a.outputDir.empty()) {
    const auto [in, out] = singlePair(a, "btc2tga");
    if (!endsWithNoCase(out, ".tga"))
      fail(ErrorKind::Argument, "btc2tga writes TGA images only; name the output '" + stemOf(out) +
                                    ".tga' rather than '" + out + "'");
    const auto input = readInput(in);
    const auto before = stampOf(out);
    btcToTga(host, input, out);
    throwOnErrorBox(host, in);
    requireWritten(out, before);
    return 0;
  }
  const auto items = folderItems(a, prepareOutputFolder(a.outputDir), ".tga");
  return runBatch(host, items, {a.noClobber, defaultThreadCount()},
                  [&](Host& h, const BatchItem& item) { convert(h, item.input, item.output); });
}

int runTgaToBtc(ProgramHost& host, const ImageArgs& a) {
  if (a.outputDir.empty()) {
    const auto [in, out] = singlePair(a, "tga2btc");
    (void)readInput(in);  // an unreadable input is a usage error, not an unwritten output
    const auto before = stampOf(out);
    try {
      tgaToBtc(host, in, out);
    } catch (const Error& e) {
      if (e.kind() == ErrorKind::Io) throw OutputError(e.what());
      throw;
    }
    requireWritten(out, before);
    return 0;
  }
  const auto items = folderItems(a, prepareOutputFolder(a.outputDir), ".btc");
  return runBatch(host, items, {a.noClobber, defaultThreadCount()},
                  [](Host& h, const BatchItem& item) { tgaToBtc(h, item.input, item.output); });
}

// The tool writes user data and cube faces under their own names into the current folder,
// so a batch runs with the output folder as the current folder.
class WorkingFolder {
 public:
  explicit WorkingFolder(const std::string& folder) : previous_(fs::current_path()) { fs::current_path(folder); }
  ~WorkingFolder() {
    std::error_code ec;
    fs::current_path(previous_, ec);
  }
  WorkingFolder(const WorkingFolder&) = delete;
  WorkingFolder& operator=(const WorkingFolder&) = delete;

 private:
  fs::path previous_;
};

// The tool skips a resource whose name cannot be a file name and says why, and passes over
// a file it could not write; the program fails for either. A name written twice is only a
// note: the game's tool gives every 2-D texture the base name. The names are relative to the
// current folder, which the messages call `folder`.
void reportXprRun(Host& host, const XprRunResult& run, const std::string& input, const std::string& folder) {
  for (const auto& [name, count] : run.overwritten)
    host.printError("vellmark: note: '" + input + "': " + std::to_string(count) + " textures were written as '" +
                    printableName((fs::path(folder) / name).string()) +
                    "' and only the last is kept; 'vellmark convert' writes each under its own name\n");
  if (!run.unwritten.empty()) {
    const std::string& first = run.unwritten.front();
    const std::size_t more = run.unwritten.size() - 1;
    throw OutputError("'" + input + "': cannot write '" + printableName((fs::path(folder) / first).string()) +
                      "': " + whyNotWritable(first) + (more ? " (and " + std::to_string(more) + " more failed writes)" : ""));
  }
  if (run.refused)
    throw OutputError("'" + input + "': " + std::to_string(run.refused) +
                      (run.refused == 1 ? " resource refused for its name" : " resources refused for their names"));
}

int runXprToTga(ProgramHost& host, const ImageArgs& a) {
  if (a.outputDir.empty()) {
    const auto [in, base] = singlePair(a, "xpr2tga");
    const fs::path folder = fs::path(base).parent_path();
    if (!folder.empty()) prepareOutputFolder(folder.string());
    (void)readInput(in);
    const XprRunResult run = xprToTga(host, in, base, a.png);
    throwOnErrorBox(host, in);
    reportXprRun(host, run, in, "");
    return 0;
  }
  const std::string folder = prepareOutputFolder(a.outputDir);
  auto items = folderItems(a, folder, "");
  std::vector<std::string> absolute;
  for (const auto& item : items) absolute.push_back(fs::absolute(item.input).string());
  WorkingFolder inFolder(folder.empty() ? std::string(1, '/') : folder);
  return runBatch(host, items, {a.noClobber, defaultThreadCount()}, [&](Host& h, const BatchItem& item) {
    const std::string& in = absolute[static_cast<std::size_t>(&item - items.data())];
    const std::string first = stemOf(item.input) + (a.png ? ".png" : ".tga");
    if (a.noClobber && stampOf(first))
      throw OutputError("'" + first + "' exists in '" + a.outputDir + "' and --no-clobber is given");
    (void)readInput(in);
    reportXprRun(h, xprToTga(h, in, stemOf(item.input), a.png), item.input, a.outputDir);
  });
}

}  // namespace

void addImageCommands(CLI::App& app, Registry& registry) {
  CLI::App* sub = addSubcommand(
      app, "btc2tga", "BTC2TGA", "BTC texture (\"BTCV\" file) to a 32-bit TGA image",
      "Converts a tiled BTC texture into an uncompressed 32-bit TGA image: IN.btc OUT.tga, or with -o DIR "
      "every input into DIR/NAME.tga. A texture the converter refuses shows the \"Invalid BTC File\" box "
      "and fails; a batch goes on with the next input and ends with \"N converted, M failed\".",
      "vellmark btc2tga -o textures/ bark.btc leaf.btc");
  auto btc = addImageOptions(sub, "IN.btc OUT.tga, or the inputs with -o");
  registry.push_back({sub, [btc](ProgramHost& h) { return runBtcToTga(h, *btc); }});

  sub = addSubcommand(app, "tga2btc", nullptr, "24- or 32-bit TGA image to a BTC texture",
                      "Encodes an uncompressed 24- or 32-bit TGA image as a tiled BTC texture (\"BTCV\" file): "
                      "IN.tga OUT.btc, or with -o DIR every input into DIR/NAME.btc.",
                      "vellmark tga2btc bark.tga bark.btc");
  auto tga = addImageOptions(sub, "IN.tga OUT.btc, or the inputs with -o");
  registry.push_back({sub, [tga](ProgramHost& h) { return runTgaToBtc(h, *tga); }});

  sub = addSubcommand(app, "xpr2tga", nullptr, "Xbox 360 texture bundle (XPR) to TGA images",
                      "Writes the top level of each texture of an Xbox 360 bundle as BASE_NAME.tga (a texture "
                      "whose top level lies in the mip tail as BASE_NAME_miptail.tga), cube textures as "
                      "NAME<face>.tga and user data as NAME.bin, NAME being the resource's own name, in the "
                      "current folder: BUNDLE.xpr BASE_NAME. With -o DIR every bundle is converted inside DIR "
                      "with its own name as BASE_NAME. With --png the pictures are written as .png files. A file that "
                      "cannot be written is named after the others are written, and the run fails.",
                      "vellmark xpr2tga -o textures/ menu.xpr course.xpr");
  auto xpr = addImageOptions(sub, "BUNDLE.xpr BASE_NAME, or the bundles with -o");
  sub->add_flag("--png", xpr->png, "write PNG images (.png) instead of TGA");
  registry.push_back({sub, [xpr](ProgramHost& h) { return runXprToTga(h, *xpr); }});
}

}  // namespace vellmark::cli
