/* A front end of ours for the eight exports, built for Windows against Vellmark.dll (run under
 * Wine) and for Linux against libvellmark.so, so that both faces take the same calls:
 *
 *   export_host LIBRARY EXPORT ARGUMENT...
 *
 * Memory-taking exports get the named file's bytes in a block of exactly its size, and its
 * size as their length unless a length follows the other arguments. On Windows, message boxes
 * are printed as "CAPTION: TEXT" lines on standard error as the Linux library prints them, the
 * open-file dialog is answered with %VELLMARK_HOST_DIALOG_DIR%\NAME, and the library's
 * exception is printed as the Linux library prints its errors, ending the host with status 2.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#ifdef _WIN32
#include <windows.h>
#include <commdlg.h>
#include <fcntl.h>
#include <io.h>
#else
#include <dlfcn.h>
#endif

typedef void (*MemoryPathLength)(const void*, const char*, int);
typedef void (*MemoryUnusedFolder)(const void*, int, const char*);
typedef void (*MemoryLengthPrefix)(const void*, int, const char*);
typedef void (*ThreePaths)(const char*, const char*, const char*);
typedef void (*TwoPaths)(const char*, const char*);
typedef void (*PathBuffer)(char*);

/* At the ordinals the game binds them by. */
static const char* const kExports[8] = {"BTC2TGA",     "CreatePanorama", "CreateSkyFile", "CreateUncompressedPanorama",
                                        "FlipTgaFile", "OpenDirectX",    "xpr2tga",       "ExtractMSCourse"};

static void fail(const char* what, const char* detail) {
  fprintf(stderr, "export_host: %s%s\n", what, detail);
  exit(3);
}

static unsigned char* readAll(const char* path, int* size) {
  FILE* f = fopen(path, "rb");
  if (!f || fseek(f, 0, SEEK_END) != 0) fail("cannot read ", path);
  *size = (int)ftell(f);
  unsigned char* data = malloc(*size > 0 ? (size_t)*size : 1);
  rewind(f);
  if (!data || fread(data, 1, (size_t)*size, f) != (size_t)*size) fail("cannot read ", path);
  fclose(f);
  return data;
}

#ifdef _WIN32

static int WINAPI answerMessageBox(HWND owner, LPCSTR text, LPCSTR caption, UINT type) {
  (void)owner, (void)type;
  fflush(stdout);
  fprintf(stderr, "%s: %s\n", caption, text);
  fflush(stderr);
  return IDOK;
}

static BOOL WINAPI answerOpenFile(LPOPENFILENAMEA dialog) {
  const char* folder = getenv("VELLMARK_HOST_DIALOG_DIR");
  const char* name = strrchr(dialog->lpstrFile, '\\') ? strrchr(dialog->lpstrFile, '\\') + 1 : dialog->lpstrFile;
  char answer[MAX_PATH];
  printf("dialog: %s\n", dialog->lpstrFile);
  if (!folder || snprintf(answer, sizeof answer, "%s\\%s", folder, name) >= (int)dialog->nMaxFile) return FALSE;
  strcpy(dialog->lpstrFile, answer);
  return TRUE;
}

/* Points the library's own imports of the two dialog functions at the answers above, so that
 * no window is ever made; returns how many were found. */
static int patchImports(BYTE* base) {
  IMAGE_NT_HEADERS* nt = (IMAGE_NT_HEADERS*)(base + ((IMAGE_DOS_HEADER*)base)->e_lfanew);
  DWORD at = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
  int patched = 0;
  for (IMAGE_IMPORT_DESCRIPTOR* d = (IMAGE_IMPORT_DESCRIPTOR*)(base + at); d->Name; ++d) {
    IMAGE_THUNK_DATA* names = (IMAGE_THUNK_DATA*)(base + d->OriginalFirstThunk);
    IMAGE_THUNK_DATA* slot = (IMAGE_THUNK_DATA*)(base + d->FirstThunk);
    for (; d->OriginalFirstThunk && names->u1.AddressOfData; ++names, ++slot) {
      if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal)) continue;
      const char* name = (const char*)((IMAGE_IMPORT_BY_NAME*)(base + names->u1.AddressOfData))->Name;
      DWORD_PTR answer = strcmp(name, "MessageBoxA") == 0        ? (DWORD_PTR)answerMessageBox
                         : strcmp(name, "GetOpenFileNameA") == 0 ? (DWORD_PTR)answerOpenFile
                                                                 : 0;
      DWORD protection;
      if (!answer || !VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &protection)) continue;
      slot->u1.Function = answer;
      VirtualProtect(slot, sizeof *slot, protection, &protection);
      ++patched;
    }
  }
  return patched;
}

static LONG WINAPI catchLibraryError(EXCEPTION_POINTERS* info) {
  const EXCEPTION_RECORD* r = info->ExceptionRecord;
  if (r->ExceptionCode != 0xE0564D4Bu) return EXCEPTION_CONTINUE_SEARCH;
  fflush(stdout);
  fprintf(stderr, "vellmark: error: %s\n", r->NumberParameters ? (const char*)r->ExceptionInformation[0] : "(none)");
  fflush(stderr);
  ExitProcess(2);
}

static void* openLibrary(const char* path) {
  /* The library shares our C runtime: no CR may be added before its line feeds either. */
  _setmode(_fileno(stdout), _O_BINARY);
  _setmode(_fileno(stderr), _O_BINARY);
  HMODULE module = LoadLibraryA(path);
  if (!module) fail("cannot load ", path);
  for (int i = 0; i < 8; ++i) {
    FARPROC byName = GetProcAddress(module, kExports[i]);
    if (!byName || byName != GetProcAddress(module, MAKEINTRESOURCEA(i + 1))) fail("not at its ordinal: ", kExports[i]);
  }
  if (patchImports((BYTE*)module) != 2) fail("MessageBoxA or GetOpenFileNameA not imported by ", path);
  AddVectoredExceptionHandler(1, catchLibraryError);
  return module;
}

static void* symbol(void* library, const char* name) { return (void*)GetProcAddress((HMODULE)library, name); }

#else

static void* openLibrary(const char* path) {
  void* library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (!library) fail("cannot load ", dlerror());
  for (int i = 0; i < 8; ++i)
    if (!dlsym(library, kExports[i])) fail("missing export ", kExports[i]);
  return library;
}

static void* symbol(void* library, const char* name) { return dlsym(library, name); }

#endif

int main(int argc, char** argv) {
  if (argc < 4) fail("usage: export_host LIBRARY EXPORT ARGUMENT...", "");
  void* function = symbol(openLibrary(argv[1]), argv[2]);
  const char* name = argv[2];
  char** a = argv + 3;
  const int n = argc - 3;
  int size = 0;
  unsigned char* data = NULL;
  char buffer[4096];
  if (!function) fail("unknown export ", name);
  if (strcmp(name, "BTC2TGA") == 0 && n >= 2) {
    data = readAll(a[0], &size);
    ((MemoryPathLength)function)(data, a[1], n > 2 ? atoi(a[2]) : size);
  } else if (strcmp(name, "ExtractMSCourse") == 0 && n >= 2) {
    data = readAll(a[0], &size);
    ((MemoryLengthPrefix)function)(data, n > 2 ? atoi(a[2]) : size, a[1]);
  } else if (strstr(name, "Panorama") && n == 2) {
    ((MemoryUnusedFolder)function)(data = readAll(a[0], &size), 12345, a[1]);
  } else if (strcmp(name, "FlipTgaFile") == 0 && n == 1) {
    snprintf(buffer, sizeof buffer, "%s", a[0]);
    ((PathBuffer)function)(buffer);
    if (strcmp(buffer, a[0]) != 0) printf("path after the call: %s\n", buffer);
  } else if (strcmp(name, "CreateSkyFile") == 0 && n == 3) {
    ((ThreePaths)function)(a[0], a[1], a[2]);
  } else if (n == 2) {
    ((TwoPaths)function)(a[0], a[1]);
  } else {
    fail("wrong arguments for ", name);
  }
  free(data);
  fflush(stdout);
  return 0;
}
