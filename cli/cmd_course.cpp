// extract, panorama and raw-panorama: a course archive's members and its panoramas.
#include <cctype>
#include <cstdio>
#include <memory>

#include "archive/archive_members.h"
#include "archive/extraction_plan.h"
#include "base/error.h"
#include "base/ordered_parallel.h"
#include "cli/commands.h"
#include "cli/output_paths.h"
#include "tools/extract_course.h"
#include "tools/panorama.h"

namespace vellmark::cli {

namespace {

// What the extraction wrote, from the files that changed in its folder: the tool passes over
// writes that fail, so its own counts are what it meant to write.
struct WrittenFiles {
  int tga = 0, wav = 0, jpg = 0, vrt = 0, vrtText = 0, panorama = 0;
  int total() const { return tga + wav + jpg + vrt + vrtText + panorama; }
};

WrittenFiles countWritten(const std::vector<std::string>& names, const std::string& prefix) {
  WrittenFiles w;
  for (const auto& name : names) {
    if (name == prefix + kPanoramaArchiveName) {
      w.panorama = 1;
      continue;
    }
    if (name.compare(0, prefix.size(), prefix) != 0) continue;
    std::size_t end = prefix.size();
    while (end < name.size() && std::isdigit(static_cast<unsigned char>(name[end]))) ++end;
    if (end == prefix.size()) continue;
    const std::string extension = name.substr(end);
    if (extension == ".tga") ++w.tga;
    if (extension == ".wav") ++w.wav;
    if (extension == ".jpg") ++w.jpg;
    if (extension == ".vrt") ++w.vrt;
    if (extension == std::string(".vrt") + kVertexTextExtension) ++w.vrtText;
  }
  return w;
}

std::string summaryText(const ExtractionSummary& s, const WrittenFiles& w) {
  const int btcConverted = s.count(MemberKind::Btc) - s.btcRejected - static_cast<int>(s.btcErrors.size());
  char text[640];
  std::snprintf(text, sizeof text,
                "members found: %d (%d inflated, %d did not inflate)\n"
                "files written: %d tga (of %d tga and %d converted btc members), %d wav, %d jpg, %d vrt with "
                "%d .vrt.txt, %d panorama (Panorama.lib)\n"
                "members skipped: %d of unknown kind, %d btc the converter refused, %d did not inflate\n",
                s.passes, s.inflated, s.failed, w.tga, s.count(MemberKind::Tga), btcConverted, w.wav, w.jpg, w.vrt,
                w.vrtText, w.panorama, s.count(MemberKind::Unknown),
                s.btcRejected + static_cast<int>(s.btcErrors.size()), s.failed);
  std::string out = text;
  for (const auto& e : s.btcErrors) out += "btc not converted: " + e + "\n";
  return out;
}

int expectedFiles(const ExtractionSummary& s) {
  const int btcConverted = s.count(MemberKind::Btc) - s.btcRejected - static_cast<int>(s.btcErrors.size());
  return s.count(MemberKind::Tga) + btcConverted + s.count(MemberKind::Wav) + s.count(MemberKind::Jpg) +
         2 * s.count(MemberKind::Vrt) + (s.count(MemberKind::Pan) > 0 ? 1 : 0);
}

// The signature search misses members that the archive's own directory lists; say so, since
// unpack writes them all.
void noteLostMembers(ProgramHost& host, Bytes archive, const ExtractionSummary& s, const std::string& path) {
  std::size_t listed = 0;
  try {
    listed = openCourseArchive(archive).records.size();
  } catch (const Error&) {
    return;  // no directory to compare with
  }
  if (listed <= static_cast<std::size_t>(s.inflated) || host.quiet()) return;
  host.printError("vellmark: note: the signature search recovered " + std::to_string(s.inflated) + " of the " +
                  std::to_string(listed) + " members the archive's directory lists; 'vellmark unpack " + path +
                  " DIR' writes every member under its own name\n");
}

struct ExtractArgs {
  std::string archive, outputDir, prefix;
  bool summary = false;
};

int runExtract(ProgramHost& host, const ExtractArgs& a) {
  const auto archive = readInput(a.archive);
  const std::string folder = prepareOutputFolder(a.outputDir);
  const auto before = folderStamps(folder);
  const auto result = extractCourse(host, archive, asPrefix(folder) + a.prefix, defaultThreadCount());
  const WrittenFiles written = countWritten(writtenSince(folder, before), a.prefix);
  if (a.summary) host.print(summaryText(result, written));
  noteLostMembers(host, archive, result, a.archive);
  const int expected = expectedFiles(result);
  if (written.total() < expected)
    throw OutputError("only " + std::to_string(written.total()) + " of " + std::to_string(expected) +
                      " files could be written into '" + a.outputDir + "'");
  if (result.btcRejected > 0)
    throw OutputError(std::to_string(result.btcRejected) + " BTC member(s) of '" + a.archive +
                      "' were refused by the converter (Invalid BTC File); their .tga files were not written");
  return 0;
}

struct PanoramaArgs {
  std::string input, outputDir;
  bool png = false;
};

int runPanorama(ProgramHost& host, const PanoramaArgs& a) {
  const auto archive = readInput(a.input);
  const std::string folder = prepareOutputFolder(a.outputDir);
  const auto before = folderStamps(folder);
  if (a.png)
    createPanoramaPng(host, archive, asPrefix(folder));
  else
    createPanorama(host, archive, asPrefix(folder));
  if (writtenSince(folder, before).empty() && !openCourseArchive(archive).records.empty())
    throw OutputError("nothing could be written into '" + a.outputDir + "'");
  return 0;
}

int runRawPanorama(ProgramHost& host, const PanoramaArgs& a) {
  const auto stream = readInput(a.input);
  const std::string folder = prepareOutputFolder(a.outputDir);
  const std::string output = asPrefix(folder) + "Panorama.tga";
  const auto before = stampOf(output);
  createUncompressedPanorama(host, stream, asPrefix(folder));
  requireWritten(output, before);
  return 0;
}

}  // namespace

void addCourseCommands(CLI::App& app, Registry& registry) {
  auto e = std::make_shared<ExtractArgs>();
  CLI::App* sub = addSubcommand(
      app, "extract", "ExtractMSCourse", "course archive by content into a folder (the game's way)",
      "Finds the members of a course archive by their zlib signature, as the game's tool does, and writes "
      "them into OUTPUT_DIR (made when missing) by kind: PREFIX + pass number + .tga, .wav, .jpg or .vrt "
      "(with .vrt.txt), BTC textures as .tga, and the panorama as PREFIX + Panorama.lib. The search can miss "
      "members; 'vellmark unpack' writes every member the archive's directory lists under its own name.",
      "vellmark extract --summary course.arc course/");
  sub->add_option("ARCHIVE", e->archive, "the course archive")->required();
  sub->add_option("OUTPUT_DIR", e->outputDir, "the folder the members go into")->required();
  sub->add_option("--prefix", e->prefix, "put PREFIX before every file name (the game's naming: e.g. course_)")
      ->type_name("PREFIX");
  sub->add_flag("--summary", e->summary, "print what was found and which files were written");
  registry.push_back({sub, [e](ProgramHost& h) { return runExtract(h, *e); }});

  auto p = std::make_shared<PanoramaArgs>();
  sub = addSubcommand(
      app, "panorama", "CreatePanorama", "panorama archive (Panorama.lib) to its TGA images",
      "Rebuilds the images of a panorama archive such as the Panorama.lib that extract writes: a member "
      "NAME.btc whose name contains \"sky\" gives OUTPUT_DIR/NAME.tga, a .prv member "
      "OUTPUT_DIR/PanoramaPreview.tga, any other member OUTPUT_DIR/Panorama.tga (with --png each as .png). For a bare tiled panorama "
      "stream (Panorama.btc as unpack writes it) use raw-panorama.",
      "vellmark panorama course/Panorama.lib panorama/");
  sub->add_option("PANORAMA_ARCHIVE", p->input, "the panorama archive (e.g. Panorama.lib)")->required();
  sub->add_option("OUTPUT_DIR", p->outputDir, "the folder the images go into (made when missing)")->required();
  sub->add_flag("--png", p->png, "write the images as PNG (NAME.png) instead of TGA");
  registry.push_back({sub, [p](ProgramHost& h) { return runPanorama(h, *p); }});

  auto r = std::make_shared<PanoramaArgs>();
  sub = addSubcommand(app, "raw-panorama", "CreateUncompressedPanorama",
                      "bare tiled panorama stream to OUTPUT_DIR/Panorama.tga",
                      "Builds OUTPUT_DIR/Panorama.tga from a bare (uncompressed) tiled panorama stream, such as "
                      "the Panorama.btc member that unpack writes.",
                      "vellmark raw-panorama unpacked/Panorama.btc panorama/");
  sub->add_option("STREAM", r->input, "the tiled panorama stream")->required();
  sub->add_option("OUTPUT_DIR", r->outputDir, "the folder Panorama.tga goes into (made when missing)")->required();
  registry.push_back({sub, [r](ProgramHost& h) { return runRawPanorama(h, *r); }});
}

}  // namespace vellmark::cli
