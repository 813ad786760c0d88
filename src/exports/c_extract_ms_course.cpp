// C export: ExtractMSCourse. The caller hands the whole archive in memory with its length.
#include "tools/extract_course.h"
#include "exports/boundary.h"
#include "platform/export_host.h"
#include "base/error.h"
#include "base/ordered_parallel.h"
#include "vellmark/vellmark.h"

using namespace vellmark;

extern "C" {

VELLMARK_API void VELLMARK_CALL ExtractMSCourse(const unsigned char* archive, int archiveLength,
                                                const char* outputPrefix) {
  runExport("ExtractMSCourse", [&] {
    if (archiveLength < 0) fail(ErrorKind::Argument, "archiveLength " + std::to_string(archiveLength) + " is negative");
    if (!archive && archiveLength > 0) fail(ErrorKind::Argument, "archive is null");
    if (!outputPrefix) fail(ErrorKind::Argument, "outputPrefix is null");
    const Bytes data(archive, static_cast<std::size_t>(archiveLength));
    (void)extractCourse(exportHost(), data, outputPrefix, defaultThreadCount());
  });
}

}  // extern "C"
