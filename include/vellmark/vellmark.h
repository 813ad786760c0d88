/* Vellmark: the asset tools of the course editor, as eight C functions.
 *
 * Every function does one whole job on the caller's thread, writes its results as files,
 * reports problems in message boxes (on Windows) or as "CAPTION: TEXT" lines on standard
 * error (elsewhere), and returns nothing. Strings are narrow and NUL-terminated; paths use
 * the platform's separator ('\\' on Windows, '/' elsewhere). The functions are not
 * re-entrant: call one at a time.
 *
 * Input that the tools cannot use (an unreadable input file, a path without a separator,
 * data that would be read past its end) raises, in Vellmark.dll, a Windows structured
 * exception with code VELLMARK_EXCEPTION_CODE whose first parameter points to the message;
 * in libvellmark.so the message is printed to standard error and the call returns.
 *
 * Windows: cdecl, undecorated names, ordinals 1-8 in the order below.
 */
#ifndef VELLMARK_VELLMARK_H
#define VELLMARK_VELLMARK_H

#if defined(_WIN32)
#define VELLMARK_CALL __cdecl
#if defined(VELLMARK_BUILDING_LIBRARY)
#define VELLMARK_API
#else
#define VELLMARK_API __declspec(dllimport)
#endif
#else
#define VELLMARK_CALL
#if defined(VELLMARK_BUILDING_LIBRARY)
#define VELLMARK_API __attribute__((visibility("default")))
#else
#define VELLMARK_API
#endif
#endif

/* Code of the structured exception Vellmark.dll raises for an error (customer bit set). */
#define VELLMARK_EXCEPTION_CODE 0xE0564D4Bu

#ifdef __cplusplus
extern "C" {
#endif

/* 1. Converts a tiled BTC texture file held in memory into a 32-bit TGA file.
 *    fileData: the whole BTC file; tgaPath: the TGA to create or overwrite;
 *    fileLength: the number of bytes at fileData. */
VELLMARK_API void VELLMARK_CALL BTC2TGA(const void* fileData, const char* tgaPath, int fileLength);

/* 2. Rebuilds the sky panorama, the panorama preview and the tiled panorama from a course
 *    archive held in memory. archive: the whole archive; unused: not read;
 *    outputFolder: prefixed verbatim to every output name, so it ends with a separator. */
VELLMARK_API void VELLMARK_CALL CreatePanorama(const void* archive, int unused, const char* outputFolder);

/* 3. Packs a 512 x 35 preview TGA and a 4800 x 320 sky TGA into a ".sky" course archive.
 *    outputFolder: given without a trailing separator; the output is named after the sky
 *    image with ".tga" replaced by ".sky". */
VELLMARK_API void VELLMARK_CALL CreateSkyFile(const char* previewTgaPath, const char* skyTgaPath,
                                              const char* outputFolder);

/* 4. Builds "Panorama.tga" from a bare tiled panorama stream held in memory.
 *    unused: not read; outputFolder: ends with a separator. */
VELLMARK_API void VELLMARK_CALL CreateUncompressedPanorama(const void* stream, int unused, const char* outputFolder);

/* 5. Re-orients a bottom-row-first 32-bit sky TGA into "<program folder>/skies/" as
 *    NAME.prvtga. tgaPath: read, and after a conversion overwritten with the path of the
 *    file written; it must be writable and large enough for that path. */
VELLMARK_API void VELLMARK_CALL FlipTgaFile(char* tgaPath);

/* 6. Loads a ".x" mesh and writes the game's ".XYZ" geometry and ".MAP" texture files
 *    into outputDir (given without a trailing separator). Ends the process with status 1
 *    when the mesh cannot be loaded. */
VELLMARK_API void VELLMARK_CALL OpenDirectX(const char* meshPath, const char* outputDir);

/* 7. Writes the textures of an Xbox 360 texture bundle as TGA files and its user data as
 *    ".bin" files. textureBaseName: names the files of 2-D textures. */
VELLMARK_API void VELLMARK_CALL xpr2tga(const char* xprPath, const char* textureBaseName);

/* 8. Extracts the members of a course archive held in memory by content, as numbered
 *    files named outputPrefix + pass number + extension. archiveLength: bytes at archive. */
VELLMARK_API void VELLMARK_CALL ExtractMSCourse(const unsigned char* archive, int archiveLength,
                                                const char* outputPrefix);

#ifdef __cplusplus
}
#endif

#endif /* VELLMARK_VELLMARK_H */
