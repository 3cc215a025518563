#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include "commands/commands.h"
#include "ui/sealed_text.h"

namespace passbridge::tool {
namespace {

struct ProductConfigOptions {
  std::string input;
  std::string output;
};

std::filesystem::path PathOf(const std::string& utf8) {
  return std::u8string(utf8.begin(), utf8.end());
}

// At most `limit` bytes, and one more if the file is longer.
std::string ReadUpTo(const std::string& name, std::size_t limit) {
  std::ifstream file(PathOf(name), std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + name);
  std::string bytes(limit + 1, '\0');
  file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (file.bad()) throw std::runtime_error("cannot read " + name);
  bytes.resize(static_cast<std::size_t>(file.gcount()));
  return bytes;
}

void WriteWhole(const std::string& name, const std::string& bytes) {
  std::ofstream file(PathOf(name), std::ios::binary | std::ios::trunc);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file) throw std::runtime_error("cannot write " + name);
}

void Encrypt(const ProductConfigOptions& options) {
  const std::string text = ReadUpTo(options.input, kMaxSealedText);
  if (text.size() > kMaxSealedText) {
    throw std::runtime_error(options.input + " is longer than " + std::to_string(kMaxSealedText) +
                             " bytes");
  }
  const std::optional<std::string> sealed = SealText(text);
  if (!sealed) throw std::runtime_error("cannot encipher " + options.input);
  WriteWhole(options.output, *sealed);
}

void Show(const ProductConfigOptions& options, Console& console) {
  const std::optional<std::string> text = OpenSealedText(ReadUpTo(options.input, kMaxSealedFile));
  if (!text) throw std::runtime_error(options.input + " is no product configuration, or damaged");
  console.out << *text;
}

}  // namespace

Command AddProductConfigCommand(CLI::App& root) {
  auto* const command =
      root.add_subcommand("product-config", "Make or show an enciphered product configuration");
  command->require_subcommand(1);
  command->footer(
      "Examples:\n"
      "  passbridge product-config encrypt label.ini product_config.ini\n"
      "  passbridge product-config show product_config.ini\n");
  const auto options = std::make_shared<ProductConfigOptions>();
  auto* const encrypt = command->add_subcommand("encrypt", "Make one of a text file");
  encrypt->add_option("IN", options->input, "Text file in ini format")->required();
  encrypt->add_option("OUT", options->output, "Where it goes")->required();
  auto* const show = command->add_subcommand("show", "Show the text of one");
  show->add_option("FILE", options->input, "Enciphered file")->required();
  return {command, {}, [options, encrypt](Console& console) {
            *encrypt ? Encrypt(*options) : Show(*options, console);
            return kExitSuccess;
          }};
}

}  // namespace passbridge::tool
