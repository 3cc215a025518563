#include "client/library.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/platform.h"

namespace passbridge::tool {
namespace {

namespace fs = std::filesystem;

bool IsFile(const fs::path& path) {
  std::error_code ignored;
  return fs::is_regular_file(path, ignored);
}

}  // namespace

std::string DefaultLibrary() {
  const fs::path file = LibraryFileName();
  const fs::path folder = ExecutableFolder();
  for (const fs::path& candidate : {folder / file, folder.parent_path() / "lib" / file}) {
    if (IsFile(candidate)) return candidate.string();
  }
  return file.string();
}

bool NamesFields32(const std::string& library) {
  return fs::path(library).stem().string().ends_with("_u32");
}

std::unique_ptr<J2534Api> LoadJ2534Library(const std::string& library, bool fields32) {
  const fs::path path = IsFile(library) ? fs::absolute(library) : fs::path(library);
  SharedLibrary loaded(path.string());
  return fields32 ? BindJ2534Api<std::uint32_t>(std::move(loaded))
                  : BindJ2534Api<unsigned long>(std::move(loaded));
}

}  // namespace passbridge::tool
