#include "tools/file_info.h"

#include <algorithm>
#include <cstring>
#include <functional>

#include "archive/member_kind.h"
#include "base/error.h"
#include "base/file_io.h"
#include "base/file_names.h"
#include "base/input_file.h"
#include "base/tga.h"
#include "btc/btc_file.h"
#include "gltf/gltf_model.h"
#include "image/image_file.h"
#include "mesh/map_reader.h"
#include "mesh/map_writer.h"
#include "mesh/xyz_reader.h"
#include "mesh/xyz_writer.h"
#include "tools/archive_file.h"
#include "xbox/xbox_format.h"
#include "xbox/xpr_bundle.h"
#include "xfile/x_header.h"
#include "xfile/x_loader.h"

namespace vellmark {

namespace {

using Json = nlohmann::ordered_json;

// A file larger than this is described by its header alone where the kind allows it (an
// archive is read by its directory in any case).
constexpr std::uint64_t kWholeReadLimit = 256ull << 20;

bool startsWith(Bytes head, const char* magic) {
  const std::size_t n = std::strlen(magic);
  return head.size() >= n && std::memcmp(head.data(), magic, n) == 0;
}

std::string sizeText(std::uint32_t w, std::uint32_t h) { return std::to_string(w) + " x " + std::to_string(h); }

void describeArchive(const InputFile& file, Json& j) {
  const std::vector<MemberListing> members = listArchiveFile(file);
  j["members"] = members.size();
  Json list = Json::array();
  for (const MemberListing& m : members)
    list.push_back({{"name", printableName(m.record.name)}, {"kind", memberKindName(m.kind)},
                    {"size", m.record.uncompressedSize}, {"stored", m.record.compressedSize}});
  j["member list"] = std::move(list);
}

void describeBtc(Bytes file, Json& j) {
  if (file.size() < kBtcFileHeaderSize) fail(ErrorKind::Truncated, "shorter than the 20-byte header");
  j["size"] = sizeText(loadU16(&file[4]), loadU16(&file[6]));
  j["tiles"] = static_cast<std::int32_t>(loadU32(&file[16]));
}

void describeXpr(Bytes file, Json& j) {
  const XprParse parse = parseXprBundle(file, "bundle");
  const XprBundle& bundle = *parse.bundle;
  j["resources"] = bundle.directory.size();
  Json list = Json::array();
  for (const XprResource& r : bundle.directory) {
    Json entry = {{"name", printableName(xprResourceName(bundle, r))}};
    if (r.type == kXprTypeUser) {
      entry["type"] = "user data";
      entry["bytes"] = r.size;
    } else if ((r.type >> 16) == kXprTextureTypePrefix) {
      const xbox::TextureHeader header = xprTextureHeader(bundle, r);
      entry["type"] = r.type == kXprTypeCube ? "cube texture" : "2-D texture";
      entry["format"] = xbox::gpuFormatName(header.format() & 0x3F);
      entry["size"] = sizeText(header.width(), header.height());
      entry["levels"] = header.levelCount();
    } else {
      entry["type"] = "other";
    }
    list.push_back(std::move(entry));
  }
  j["resource list"] = std::move(list);
}

void describeMeshCounts(const d3d::LoadedMesh& loaded, Json& j) {
  j["vertices"] = loaded.mesh.vertexCount;
  j["triangles"] = loaded.mesh.faceCount();
  j["materials"] = loaded.materials.size();
  Json textures = Json::array();
  for (const auto& m : loaded.materials)
    if (m.textureFilename) textures.push_back(printableName(*m.textureFilename));
  j["textures"] = std::move(textures);
}

void describeX(Bytes file, Json& j) {
  const d3d::XHeader header = d3d::readXHeader(file);
  j["format"] = std::string(header.format == d3d::XBodyFormat::Text ? "text" : "binary") + (header.compressed ? ", compressed" : "") +
                ", " + std::to_string(8 * header.floatBytes) + "-bit floats";
  describeMeshCounts(d3d::loadXFile(file), j);
}

void describeGltf(Bytes file, const std::string& path, Json& j) {
  j["format"] = startsWith(file, "glTF") ? "binary (.glb)" : "text (.gltf)";
  const auto cut = path.find_last_of("/\\");
  const std::string folder = cut == std::string::npos ? "" : path.substr(0, cut + 1);
  const GltfModel model = loadGltfModel(
      file,
      [&](const std::string& uri) -> std::optional<std::vector<std::uint8_t>> {
        if (uri.empty() || uri.front() == '/' || uri.find(':') != std::string::npos) return std::nullopt;
        try {
          return readWholeFile(folder + uri);
        } catch (const Error&) {
          return std::nullopt;
        }
      },
      false);
  describeMeshCounts(model.mesh, j);
  if (!model.notes.empty()) j["notes"] = model.notes;
}

void describeXyz(Bytes file, Json& j) {
  const XyzObject o = readXyzFile(file);
  j["vertices"] = o.positions.size();
  j["triangles"] = o.faces.size();
  std::uint32_t materials = 0;
  for (const auto& f : o.faces) materials = std::max<std::uint32_t>(materials, f.material + 1u);
  j["material numbers"] = materials;
}

void describeMap(Bytes file, Json& j) {
  const MapDirectory d = readMapDirectory(file);
  j["materials"] = d.materials.size();
  j["levels"] = d.levels.size();
  Json list = Json::array();
  for (std::size_t m = 0; m < d.materials.size(); ++m) {
    Json sizes = Json::array();
    for (std::uint32_t level : d.materials[m]) sizes.push_back(sizeText(d.levels[level].width, d.levels[level].height));
    list.push_back({{"material", m}, {"levels", sizes}, {"palettes", d.materials[m].size()}});
  }
  j["material list"] = std::move(list);
}

void describeTga(Bytes file, Json& j) {
  const TgaHeader header = readTgaHeader(file, "TGA");
  const std::uint8_t type = header.imageType;
  const char* types[] = {"none", "colour-mapped", "true-colour", "greyscale"};
  j["size"] = sizeText(header.width, header.height);
  j["image type"] = std::string((type & 7) < 4 ? types[type & 7] : "unknown") + ((type & 8) ? ", run-length" : "");
  j["bits per pixel"] = header.pixelDepth;
  j["rows"] = (header.descriptor & kTgaDescriptorTopFirst) ? "top first" : "bottom first";
  j["alpha bits"] = header.descriptor & 0x0F;
}

void describePicture(Bytes file, Json& j) {
  const ImageProbe probe = probeImage(file, "picture");
  j["size"] = sizeText(probe.width, probe.height);
  const char* channels[] = {"", "grey", "grey and alpha", "colour", "colour and alpha"};
  j["channels"] = probe.channels >= 1 && probe.channels <= 4 ? channels[probe.channels] : "?";
}

// The game's .XYZ and .MAP files have no magic: the header's own offsets tell them.
bool looksLikeXyz(Bytes head, std::uint64_t size) {
  return head.size() >= 4 * kXyzHeaderWords && loadU32(&head[28]) == kXyzVertexArrayOffset && loadU32(&head[0]) == size;
}
bool looksLikeMap(Bytes head, std::uint64_t size) {
  return head.size() >= kMapHeaderSize && loadU32(&head[12]) == kMapHeaderSize && loadU32(&head[0]) == size;
}
bool looksLikeTga(Bytes head) {
  if (head.size() < kTgaHeaderSize) return false;
  const std::uint8_t type = head[2] & ~8, depth = head[16];
  return head[1] <= 1 && (type == 1 || type == 2 || type == 3) && (depth == 8 || depth == 15 || depth == 16 || depth == 24 || depth == 32) &&
         loadU16(&head[12]) > 0 && loadU16(&head[14]) > 0;
}

}  // namespace

Json describeFile(const std::string& path) {
  const InputFile input(path);
  Json j;
  j["path"] = printableName(path);
  j["bytes"] = input.size();
  const std::vector<std::uint8_t> head = input.readAt(0, static_cast<std::size_t>(std::min<std::uint64_t>(input.size(), 4096)));
  const auto whole = [&] {
    if (input.size() > kWholeReadLimit) fail(ErrorKind::Unsupported, "larger than the " + std::to_string(kWholeReadLimit >> 20) + " MB read whole");
    return input.readAt(0, static_cast<std::size_t>(input.size()));
  };
  const std::uint64_t size = input.size();
  // Kinds with a magic first, then those told by their header's offsets, TGA last.
  const struct Kind {
    const char* name;
    std::function<bool()> matches;
    std::function<void()> describe;
  } kinds[] = {
      {"course archive", [&] { return startsWith(head, "ARC0"); }, [&] { describeArchive(input, j); }},
      {"BTC texture", [&] { return startsWith(head, "BTCV"); }, [&] { describeBtc(head, j); }},
      {"Xbox 360 bundle", [&] { return startsWith(head, "XPR2"); }, [&] { describeXpr(whole(), j); }},
      {".x model", [&] { return startsWith(head, "xof "); }, [&] { describeX(whole(), j); }},
      {"glTF model", [&] { return looksLikeGltf(head); }, [&] { describeGltf(whole(), path, j); }},
      {"PNG picture", [&] { return startsWith(head, "\x89PNG"); }, [&] { describePicture(whole(), j); }},
      {"JPEG picture", [&] { return head.size() >= 3 && head[0] == 0xFF && head[1] == 0xD8 && head[2] == 0xFF; },
       [&] { describePicture(whole(), j); }},
      {"BMP picture", [&] { return startsWith(head, "BM"); }, [&] { describePicture(whole(), j); }},
      {".XYZ object", [&] { return looksLikeXyz(head, size); }, [&] { describeXyz(whole(), j); }},
      {".MAP textures", [&] { return looksLikeMap(head, size); }, [&] { describeMap(whole(), j); }},
      {"TGA picture", [&] { return looksLikeTga(head); }, [&] { describeTga(head, j); }},
  };
  for (const Kind& kind : kinds) {
    if (!kind.matches()) continue;
    std::string name = kind.name;
    if (name == "course archive" && path.size() >= 4 && (path.substr(path.size() - 4) == ".sky" || path.substr(path.size() - 4) == ".SKY"))
      name = "sky file (course archive)";
    j["kind"] = name;
    try {
      kind.describe();
    } catch (const Error& e) {
      j["error"] = e.what();
    }
    return j;
  }
  j["kind"] = "unknown";
  return j;
}

std::string describedText(const Json& facts) {
  std::string out = facts.value("path", std::string()) + ": " + facts.value("kind", std::string()) + "\n";
  const auto scalar = [](const Json& v) { return v.is_string() ? v.get<std::string>() : v.dump(); };
  for (const auto& [key, value] : facts.items()) {
    if (key == "path" || key == "kind") continue;
    if (!value.is_array()) {
      out += "  " + key + ": " + scalar(value) + "\n";
      continue;
    }
    out += "  " + key + ":" + (value.empty() ? " none" : "") + "\n";
    for (const auto& entry : value) {
      std::string line;
      if (entry.is_object()) {
        for (const auto& [k, v] : entry.items()) {
          std::string text = v.is_array() ? "" : scalar(v);
          if (v.is_array())
            for (const auto& x : v) text += (text.empty() ? "" : ", ") + scalar(x);
          line += (line.empty() ? "" : ", ") + k + " " + text;
        }
      } else {
        line = scalar(entry);
      }
      out += "    " + line + "\n";
    }
  }
  return out;
}

}  // namespace vellmark
