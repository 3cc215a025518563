#include "pdu/pdu_api.h"

#include <atomic>
#include <optional>
#include <utility>

#include "j2534/settings.h"
#include "platform/dynamic_library.h"
#include "platform/never_destroyed.h"
#include "platform/registry.h"

namespace passbridge::pdu {

/// A library with its table; the file is closed when the last user lets go.
struct Library {
  platform::DynamicLibrary file;
  FunctionTable table;
};

namespace {

constexpr std::size_t kMaxPath = 259;

/// What an entry point does while no library is loaded.
template <typename Function>
struct Unloaded;

template <typename... Args>
struct Unloaded<T_PDU_ERROR PDUAPI(Args...)> {
  static T_PDU_ERROR PDUAPI Call(Args... /*args*/) { return PDU_ERR_PDUAPI_NOT_CONSTRUCTED; }
};

constexpr FunctionTable kUnloadedTable{
#define PASSBRIDGE_PDU_UNLOADED(name, required) &Unloaded<FN_##name>::Call,
    PASSBRIDGE_PDU_FUNCTIONS(PASSBRIDGE_PDU_UNLOADED)
#undef PASSBRIDGE_PDU_UNLOADED
};

std::atomic<const FunctionTable*> currentTable{&kUnloadedTable};

/// The process's reference to the loaded library.
class LoadedLibrary {
 public:
  // What is still loaded when a process ends is not unloaded under its threads.
  static LoadedLibrary& Instance() {
    static platform::NeverDestroyed<LoadedLibrary> instance;
    return instance.Get();
  }

  std::shared_ptr<Library> Share() EXCLUDES(lock_) {
    const platform::MutexLock lock(lock_);
    return library_;
  }
  /// @param library  null for none. What it replaces goes after the lock.
  void Replace(std::shared_ptr<Library> library) EXCLUDES(lock_) {
    const platform::MutexLock lock(lock_);
    currentTable = library != nullptr ? &library->table : &kUnloadedTable;
    library_.swap(library);
  }

 private:
  platform::Mutex lock_;
  std::shared_ptr<Library> library_ GUARDED_BY(lock_);
};

bool Bind(const std::shared_ptr<Library>& library, const SymbolSource& symbols) {
  FunctionTable& table = library->table;
  bool complete = true;
#define PASSBRIDGE_PDU_BIND(name, required)                  \
  table.name = reinterpret_cast<PFN_##name>(symbols(#name)); \
  complete = complete && (!(required) || table.name != nullptr);
  PASSBRIDGE_PDU_FUNCTIONS(PASSBRIDGE_PDU_BIND)
#undef PASSBRIDGE_PDU_BIND
  if (complete) LoadedLibrary::Instance().Replace(library);
  return complete;
}

}  // namespace

const FunctionTable& Api() { return *currentTable.load(std::memory_order_acquire); }

Pin::Pin() : library_(LoadedLibrary::Instance().Share()) {}

platform::RecursiveMutex& PduApiLock() {
  static platform::NeverDestroyed<platform::RecursiveMutex> lock;
  return lock.Get();
}

std::string ReadFunctionLibraryPath() {
  const std::optional<platform::RegistryKey> key = platform::RegistryKey::Open(
      platform::RegistryRoot::Machine, settings::PathOf(settings::pdu_api_support::kKey),
      platform::RegistryAccess::Read);
  return key ? key->ReadText(settings::pdu_api_support::kFunctionLibrary, kMaxPath)
                   .value_or(std::string())
             : std::string();
}

bool BindPduApi(const SymbolSource& symbols) { return Bind(std::make_shared<Library>(), symbols); }

bool LoadPduApi(const std::string& path) {
  const auto library = std::make_shared<Library>();
  library->file = platform::DynamicLibrary::Open(path);
  if (!library->file) return false;
  return Bind(library, [&library](const char* name) { return library->file.Symbol(name); });
}

void UnloadPduApi() { LoadedLibrary::Instance().Replace(nullptr); }

}  // namespace passbridge::pdu
