#include "platform/d3d9_mesh_layer.h"

#include <windows.h>
#include <d3d9.h>
#include <d3dx9mesh.h>

#include <cstdio>
#include <cstring>

#include "base/error.h"
#include "tools/open_direct_x.h"

namespace vellmark::d3d {

namespace {

using CreateFunction = IDirect3D9*(WINAPI*)(UINT);
using LoadMeshFunction = HRESULT(WINAPI*)(const char*, DWORD, IDirect3DDevice9*, ID3DXBuffer**, ID3DXBuffer**,
                                          ID3DXBuffer**, DWORD*, ID3DXMesh**);

// The exporter asks for its device in the layer's own numbering, which is not the desktop
// runtime's: "unknown" is all bits set, and the depth format is the 24-bit depth code of
// that numbering. Behaviour flags of 0 name no vertex processing, which the desktop runtime
// refuses; software processing is what a device that only loads meshes needs.
constexpr std::uint32_t kLayerFormatUnknown = 0xFFFFFFFFu;
constexpr std::uint32_t kLayerFormatDepth24 = 0x2DA00196u;
constexpr DWORD kVertexProcessingFlags = D3DCREATE_SOFTWARE_VERTEXPROCESSING | D3DCREATE_HARDWARE_VERTEXPROCESSING |
                                         D3DCREATE_MIXED_VERTEXPROCESSING;

D3DFORMAT desktopFormat(std::uint32_t code) {
  if (code == kLayerFormatUnknown) return D3DFMT_UNKNOWN;
  if (code == kLayerFormatDepth24) return D3DFMT_D24X8;
  return static_cast<D3DFORMAT>(code);
}

HMODULE extensionLibrary() {
  static HMODULE module = [] {
    for (int version = 43; version >= 24; --version) {
      char name[32];
      std::snprintf(name, sizeof name, "d3dx9_%d.dll", version);
      if (HMODULE m = LoadLibraryA(name)) return m;
    }
    return HMODULE{nullptr};
  }();
  return module;
}

[[noreturn]] void loadFailed(HRESULT hr) { throw Error(ErrorKind::Corrupt, "the extension library's mesh loader failed", hr); }

// Copies what the writer reads out of the extension library's mesh and material buffer.
HRESULT copyLoaded(ID3DXMesh* mesh, ID3DXBuffer* materialBuffer, DWORD materialCount, LoadedMesh& out) {
  LoadedMesh loaded;
  MeshData& m = loaded.mesh;
  m.fvf = mesh->GetFVF();
  m.stride = mesh->GetNumBytesPerVertex();
  m.vertexCount = mesh->GetNumVertices();
  const DWORD faces = mesh->GetNumFaces();
  void* vertices = nullptr;
  void* indices = nullptr;
  DWORD* attributes = nullptr;
  HRESULT hr = mesh->LockVertexBuffer(D3DLOCK_READONLY, &vertices);
  if (FAILED(hr)) return hr;
  hr = mesh->LockIndexBuffer(D3DLOCK_READONLY, &indices);
  if (FAILED(hr)) {
    mesh->UnlockVertexBuffer();
    return hr;
  }
  hr = mesh->LockAttributeBuffer(D3DLOCK_READONLY, &attributes);
  if (SUCCEEDED(hr)) {
    const auto* v = static_cast<const std::uint8_t*>(vertices);
    m.vertices.assign(v, v + static_cast<std::size_t>(m.vertexCount) * m.stride);
    m.indices.resize(3 * static_cast<std::size_t>(faces));
    if (mesh->GetOptions() & D3DXMESH_32BIT) {
      const auto* wide = static_cast<const DWORD*>(indices);
      for (std::size_t i = 0; i < m.indices.size(); ++i) m.indices[i] = static_cast<std::uint16_t>(wide[i]);
    } else {
      std::memcpy(m.indices.data(), indices, 2 * m.indices.size());
    }
    m.attributes.assign(attributes, attributes + faces);
    mesh->UnlockAttributeBuffer();
  }
  mesh->UnlockIndexBuffer();
  mesh->UnlockVertexBuffer();
  if (FAILED(hr)) return hr;

  const auto* records = materialBuffer ? static_cast<const D3DXMATERIAL*>(materialBuffer->GetBufferPointer()) : nullptr;
  for (DWORD i = 0; records && i < materialCount; ++i) {
    const D3DMATERIAL9& d = records[i].MatD3D;
    Material material;
    material.diffuse = {d.Diffuse.r, d.Diffuse.g, d.Diffuse.b, d.Diffuse.a};
    material.ambient = {d.Ambient.r, d.Ambient.g, d.Ambient.b, d.Ambient.a};
    material.specular = {d.Specular.r, d.Specular.g, d.Specular.b, d.Specular.a};
    material.emissive = {d.Emissive.r, d.Emissive.g, d.Emissive.b, d.Emissive.a};
    material.power = d.Power;
    if (records[i].pTextureFilename) material.textureFilename = std::string(records[i].pTextureFilename);
    loaded.materials.push_back(std::move(material));
  }
  out = std::move(loaded);
  return S_OK;
}

class Direct3D9MeshLayer : public MeshLayer {
 public:
  bool createHiddenWindow() override {
    WNDCLASSEXA windowClass = {};
    windowClass.cbSize = sizeof windowClass;
    windowClass.lpfnWndProc = DefWindowProcA;
    windowClass.lpszClassName = kHiddenWindowClass;
    RegisterClassExA(&windowClass);  // already registered by an earlier call: harmless
    deviceWindow_ = CreateWindowExA(0, kHiddenWindowClass, "", 0, -1, -1, -1, -1, nullptr, nullptr, nullptr, nullptr);
    return deviceWindow_ != nullptr;
  }

  bool createDevice(const DeviceRequest& request) override {
    HMODULE runtime = LoadLibraryA("d3d9.dll");
    auto create = runtime ? reinterpret_cast<CreateFunction>(
                                reinterpret_cast<void*>(GetProcAddress(runtime, "Direct3DCreate9")))
                          : nullptr;
    IDirect3D9* direct3D = create ? create(D3D_SDK_VERSION) : nullptr;
    if (!direct3D) return false;
    const PresentParameters& p = request.parameters;
    D3DPRESENT_PARAMETERS present = {};
    present.BackBufferWidth = p.backBufferWidth;
    present.BackBufferHeight = p.backBufferHeight;
    present.BackBufferFormat = desktopFormat(p.backBufferFormat);
    present.BackBufferCount = p.backBufferCount;
    present.MultiSampleType = static_cast<D3DMULTISAMPLE_TYPE>(p.multiSampleType);
    present.MultiSampleQuality = p.multiSampleQuality;
    present.SwapEffect = static_cast<D3DSWAPEFFECT>(p.swapEffect);
    present.hDeviceWindow = deviceWindow_;
    present.Windowed = p.windowed;
    present.EnableAutoDepthStencil = p.enableAutoDepthStencil;
    present.AutoDepthStencilFormat = desktopFormat(p.autoDepthStencilFormat);
    present.Flags = p.flags;
    present.FullScreen_RefreshRateInHz = p.fullScreenRefreshRate;
    present.PresentationInterval = p.presentationInterval;
    DWORD behaviour = request.behaviourFlags;
    if (!(behaviour & kVertexProcessingFlags)) behaviour |= D3DCREATE_SOFTWARE_VERTEXPROCESSING;
    const HRESULT hr = direct3D->CreateDevice(request.adapter, static_cast<D3DDEVTYPE>(request.deviceType), nullptr,
                                              behaviour, &present, &device_);
    direct3D->Release();  // the device keeps its own reference
    return SUCCEEDED(hr);
  }

  LoadedMesh loadMesh(const std::string& path, std::uint32_t options) override {
    HMODULE library = extensionLibrary();
    auto load = library ? reinterpret_cast<LoadMeshFunction>(
                              reinterpret_cast<void*>(GetProcAddress(library, "D3DXLoadMeshFromXA")))
                        : nullptr;
    if (!load) return portableMeshLayer().loadMesh(path, options);
    ID3DXBuffer* materials = nullptr;
    DWORD materialCount = 0;
    ID3DXMesh* mesh = nullptr;
    LoadedMesh out;
    HRESULT hr = load(path.c_str(), options, device_, nullptr, &materials, nullptr, &materialCount, &mesh);
    if (SUCCEEDED(hr)) hr = copyLoaded(mesh, materials, materialCount, out);
    if (mesh) mesh->Release();
    if (materials) materials->Release();
    if (FAILED(hr)) loadFailed(hr);
    return out;
  }

  void releaseDevice() override {
    if (device_) device_->Release();
    device_ = nullptr;
  }

  // The exporter never stores the window it created in the handle it destroys, so this is
  // DestroyWindow(nullptr): the hidden window lives until the process ends.
  void destroyWindow() override { DestroyWindow(hiddenWindow_); }

 private:
  HWND deviceWindow_ = nullptr;
  HWND hiddenWindow_ = nullptr;
  IDirect3DDevice9* device_ = nullptr;
};

}  // namespace

MeshLayer& direct3D9MeshLayer() {
  static Direct3D9MeshLayer layer;
  return layer;
}

}  // namespace vellmark::d3d
