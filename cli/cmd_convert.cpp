// convert: pictures between the game's formats and PNG, JPEG, BMP and any TGA, one IN OUT
// pair or several inputs into a folder.
#include <filesystem>
#include <map>
#include <memory>

#include "base/error.h"
#include "base/ordered_parallel.h"
#include "cli/batch.h"
#include "cli/commands.h"
#include "cli/output_paths.h"
#include "tools/convert_picture.h"

namespace vellmark::cli {

namespace {

namespace fs = std::filesystem;

struct ConvertArgs {
  std::vector<std::string> paths;
  std::string to;
  bool noClobber = false;
};

// A conversion the tool refused is a refused input (status 1), like a tool's error box; only
// an input that cannot be read is a usage error.
template <class F>
void refusedAsOutputError(const std::string& input, F&& convert) {
  try {
    convert();
  } catch (const Error& e) {
    throw OutputError("'" + input + "': " + e.what());
  }
}

int runPair(ProgramHost& host, const ConvertArgs& a) {
  const std::string& in = a.paths[0];
  const std::string& out = a.paths[1];
  if (isXprBundleFile(in)) {
    const std::string folder = prepareOutputFolder(out);
    std::size_t written = 0;
    refusedAsOutputError(in, [&] { written = convertXprBundle(host, in, asPrefix(folder), PictureFormat::Png, !a.noClobber); });
    host.print(std::to_string(written) + " pictures written into '" + out + "'\n");
    return 0;
  }
  (void)pictureFormatOfPath(out);  // a usage error before anything is read
  (void)readInput(in);
  const auto before = stampOf(out);
  if (a.noClobber && before) throw OutputError("'" + out + "' exists and --no-clobber is given");
  refusedAsOutputError(in, [&] { convertPicture(host, in, out); });
  requireWritten(out, before);
  return 0;
}

int runFolder(ProgramHost& host, const ConvertArgs& a) {
  const auto format = pictureFormatNamed(a.to);
  if (!format) fail(ErrorKind::Argument, "--to takes png, tga or btc, not '" + a.to + "'");
  const std::string folder = prepareOutputFolder(a.paths.back());
  std::vector<BatchItem> items;
  std::map<std::string, std::string> seen;
  for (std::size_t i = 0; i + 1 < a.paths.size(); ++i) {
    const std::string& in = a.paths[i];
    const std::string out = asPrefix(folder) + stemOf(in) + pictureExtension(*format);
    if (auto [it, fresh] = seen.emplace(out, in); !fresh)
      fail(ErrorKind::Argument, "'" + it->second + "' and '" + in + "' would both be written as '" + out + "'");
    items.push_back({in, isXprBundleFile(in) ? std::string() : out});  // a bundle names its own files
  }
  return runBatch(host, items, {a.noClobber, defaultThreadCount()}, [&](Host& h, const BatchItem& item) {
    if (!item.output.empty()) return convertPicture(h, item.input, item.output);
    convertXprBundle(h, item.input, asPrefix(folder), *format, !a.noClobber);
  });
}

int runConvert(ProgramHost& host, const ConvertArgs& a) {
  if (!a.to.empty()) {
    if (a.paths.size() < 2) fail(ErrorKind::Argument, "convert --to FORMAT takes one or more inputs and OUT_DIR");
    return runFolder(host, a);
  }
  if (a.paths.size() != 2)
    fail(ErrorKind::Argument, "convert takes IN OUT, or inputs and OUT_DIR with --to FORMAT (got " +
                                  std::to_string(a.paths.size()) + " paths without --to)");
  return runPair(host, a);
}

}  // namespace

void addConvertCommand(CLI::App& app, Registry& registry) {
  auto c = std::make_shared<ConvertArgs>();
  CLI::App* sub = addSubcommand(
      app, "convert", nullptr, "pictures to and from PNG, JPEG, BMP, TGA and BTC",
      "Converts a picture, read by its content (a BTC texture, any TGA, PNG, JPEG or BMP), into the format "
      "OUT's extension names: .png, .tga (32-bit, as the game's tools write them) or .btc (a BTC texture "
      "from the encoder). With --to FORMAT every input goes into the folder OUT_DIR (made when missing) as "
      "NAME.png, NAME.tga or NAME.btc, one worker per core, ending with \"N converted, M failed\". An Xbox 360 "
      "bundle (XPR) as input writes each of its textures into the folder as TEXTURE.png (or the --to format).",
      "vellmark convert --to png bark.btc leaf.btc sky.tga pictures/");
  sub->add_option("PATHS", c->paths, "IN OUT, or the inputs and OUT_DIR with --to")->required();
  sub->add_option("--to", c->to, "write every input into OUT_DIR in FORMAT: png, tga or btc")->type_name("FORMAT");
  sub->add_flag("--no-clobber", c->noClobber, "refuse to overwrite an existing output");
  registry.push_back({sub, [c](ProgramHost& h) { return runConvert(h, *c); }});
}

}  // namespace vellmark::cli
