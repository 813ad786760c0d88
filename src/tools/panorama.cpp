#include "tools/panorama.h"

#include "archive/course_archive.h"
#include "archive/zlib_member.h"
#include "base/file_io.h"
#include "base/file_names.h"
#include "base/paths.h"
#include "image/image_file.h"

namespace vellmark {

namespace {

// Deflate cannot expand data by more than 1032 to 1, so a member that declares more than
// that would be mostly bytes zlib never wrote.
constexpr std::uint64_t kMaxInflateRatio = 1032;

}  // namespace

void buildPanoramaFiles(Bytes archive, const std::function<void(const std::string& name, Bytes file)>& emit) {
  const ArchiveDirectory directory = readArchiveDirectory(archive);
  TileStore store;
  for (const ArchiveRecord& record : directory.records) {
    const std::string what = "course archive member '" + printableName(record.name) + "'";
    const std::string extension = extensionFromLastDot(record.name, "course archive member name");
    if (record.uncompressedSize > std::uint64_t{record.compressedSize} * kMaxInflateRatio + 64)
      fail(ErrorKind::Corrupt, what + " declares " + std::to_string(record.uncompressedSize) + " bytes, more than its " +
                                   std::to_string(record.compressedSize) + " compressed bytes can hold");
    // A member that does not inflate is used as zlib left it, as the game's tool does.
    const InflateResult member = inflateMember(memberData(archive, record), record.uncompressedSize);
    const Bytes data = member.buffer;

    if (extension == ".btc" && record.name.find("sky") != std::string::npos) {
      const std::string name = stripFromLast(record.name, ".btc") + ".tga";
      if (auto problem = fileNameProblem(name))
        fail(ErrorKind::Unsupported, what + ": its image '" + printableName(name) + "' cannot be written: " + *problem);
      emit(name, buildSkyPanorama(data, store, what));
    } else if (extension == ".prv") {
      emit(kPanoramaPreviewFileName, data);
    } else {
      emit(kPanoramaFileName, buildTiledPanorama(data, store, what));
    }
  }
}

void createPanorama(Host& /*host*/, Bytes archive, const std::string& outputFolder) {
  buildPanoramaFiles(archive, [&](const std::string& name, Bytes file) { (void)writeWholeFile(outputFolder + name, file); });
}

void createPanoramaPng(Host& /*host*/, Bytes archive, const std::string& outputFolder) {
  buildPanoramaFiles(archive, [&](const std::string& name, Bytes file) {
    const auto png = encodePng(decodeImage(file, "panorama picture '" + name + "'"));
    (void)writeWholeFile(outputFolder + stripFromLast(name, ".tga") + ".png", png);
  });
}

void createUncompressedPanorama(Host& /*host*/, Bytes stream, const std::string& outputFolder) {
  TileStore store;
  const auto image = buildTiledPanorama(stream, store, "tiled panorama stream");
  (void)writeWholeFile(outputFolder + kPanoramaFileName, image);
}

}  // namespace vellmark
