#include "client/library.h"

#include <filesystem>
#include <optional>
#include <stdexcept>
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

// A file that came with the tool: beside it, in ../lib, or where the build that made both has it.
std::optional<fs::path> Installed(const fs::path& file, const char* buildFolder) {
  const fs::path folder = ExecutableFolder();
  for (const fs::path& candidate : {folder / file, folder.parent_path() / "lib" / file,
                                    folder.parent_path() / buildFolder / file}) {
    if (IsFile(candidate)) return candidate;
  }
  return std::nullopt;
}

}  // namespace

std::string DefaultLibrary() {
  const fs::path file = LibraryFileName();
  return Installed(file, "src/api").value_or(file).string();
}

std::filesystem::path FindVirtualVci() {
  const fs::path file = VirtualVciFileName();
  const auto found = Installed(file, "virtual_vci");
  if (!found) throw std::runtime_error("there is no " + file.string() + " beside the tool");
  return *found;
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
