// The panorama tools: the sky panorama, the panorama preview and the tiled course panorama,
// rebuilt from a course archive (CreatePanorama) or from a bare tiled panorama stream
// (CreateUncompressedPanorama). The streams themselves are decoded in btc/panorama_stream.
#pragma once

#include <functional>
#include <string>

#include "base/byte_reader.h"
#include "base/host.h"
#include "btc/panorama_stream.h"

namespace vellmark {

inline constexpr char kPanoramaFileName[] = "Panorama.tga";
inline constexpr char kPanoramaPreviewFileName[] = "PanoramaPreview.tga";

// The files CreatePanorama makes of `archive`, in directory order: `emit` receives each
// file's name (to be put behind the output folder) and bytes. Rules and errors as
// createPanorama's.
void buildPanoramaFiles(Bytes archive, const std::function<void(const std::string& name, Bytes file)>& emit);

// CreatePanorama: every member of the course archive by name, in directory order. A name
// ending in ".btc" that contains "sky" gives outputFolder + name without ".btc" + ".tga";
// ".prv" is written unchanged as outputFolder + "PanoramaPreview.tga"; any other name is a
// tiled panorama written as outputFolder + "Panorama.tga" (the last one wins). A name
// without '.' raises Error(Argument) "invalid string position"; a rejected member raises
// Error and writes nothing for it (files of earlier members stay).
void createPanorama(Host& host, Bytes archive, const std::string& outputFolder);

// createPanorama with every picture written as PNG under the same name ending in ".png"
// instead of ".tga". A preview member that is no picture decodeImage reads raises its Error.
void createPanoramaPng(Host& host, Bytes archive, const std::string& outputFolder);

// CreateUncompressedPanorama: the tiled panorama of a bare stream, as outputFolder +
// "Panorama.tga".
void createUncompressedPanorama(Host& host, Bytes stream, const std::string& outputFolder);

}  // namespace vellmark
