/* export_host LIBRARY EXPORT ARGUMENT...: one call of an export, built for Windows against
 * Vellmark.dll (run under Wine) and for Linux against libvellmark.so, so that both faces take
 * the same calls. Memory-taking exports get the named file's bytes in a block of exactly its
 * size, and that size as their length unless a length follows. On Windows, boxes, the
 * open-file dialog (answered with %VELLMARK_HOST_DIALOG_DIR%\NAME) and the library's exception
 * (ending the host with status 2) come out as the Linux library prints boxes and errors. */
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

static void fail(const char* what, const char* detail) {
  fprintf(stderr, "export_host: %s%s\n", what, detail);
  exit(3);
}

static unsigned char* readAll(const char* path, int* size) {
  FILE* f = fopen(path, "rb");
  unsigned char* data = f && fseek(f, 0, SEEK_END) == 0 ? malloc((size_t)(*size = (int)ftell(f)) + 1) : NULL;
  if (!data || (rewind(f), fread(data, 1, (size_t)*size, f)) != (size_t)*size) fail("cannot read ", path);
  fclose(f);
  return data;
}

#ifdef _WIN32

/* At the ordinals the game binds them by. */
static const char* const kExports[8] = {"BTC2TGA",     "CreatePanorama", "CreateSkyFile", "CreateUncompressedPanorama",
                                        "FlipTgaFile", "OpenDirectX",    "xpr2tga",       "ExtractMSCourse"};

static int WINAPI answerMessageBox(HWND owner, LPCSTR text, LPCSTR caption, UINT type) {
  (void)owner, (void)type;
  fflush(stdout);
  fprintf(stderr, "%s: %s\n", caption, text);
  return fflush(stderr), IDOK;
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

#define symbol(library, name) (void*)GetProcAddress((HMODULE)(library), name)

#else

static void* openLibrary(const char* path) {
  void* library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (!library) fail("cannot load ", dlerror());
  return library;
}
#define symbol dlsym

#endif

int main(int argc, char** argv) {
  const char* name = argc > 2 ? argv[2] : "";
  char** a = argv + 3;
  const int n = argc - 3;
  if (n < (strcmp(name, "FlipTgaFile") ? 2 : 1)) fail("usage: export_host LIBRARY EXPORT ARGUMENT...", "");
  void* f = symbol(openLibrary(argv[1]), name);
  if (!f) fail("unknown export ", name);
  int size = 0;
  unsigned char* data = NULL;
  if (!strcmp(name, "BTC2TGA") || !strcmp(name, "ExtractMSCourse") || strstr(name, "Panorama")) data = readAll(a[0], &size);
  const int length = n > 2 ? atoi(a[2]) : size;
  char buffer[4096];
  snprintf(buffer, sizeof buffer, "%s", a[0]);
  if (!strcmp(name, "BTC2TGA")) ((void (*)(const void*, const char*, int))f)(data, a[1], length);
  else if (!strcmp(name, "ExtractMSCourse")) ((void (*)(const void*, int, const char*))f)(data, length, a[1]);
  else if (strstr(name, "Panorama")) ((void (*)(const void*, int, const char*))f)(data, 12345, a[1]);
  else if (!strcmp(name, "FlipTgaFile")) ((void (*)(char*))f)(buffer);
  else if (n == 3) ((void (*)(const char*, const char*, const char*))f)(a[0], a[1], a[2]);
  else ((void (*)(const char*, const char*))f)(a[0], a[1]);
  /* FlipTgaFile hands back the path it wrote in the caller's buffer. */
  if (strcmp(buffer, a[0])) printf("path after the call: %s\n", buffer);
  free(data);
  fflush(stdout);
  return 0;
}
