// Commands of UART buses.

#include <algorithm>
#include <map>

#include "virtual_vci/vehicle/ecu_services.h"

namespace virtual_vci {

namespace {

bool BeginsWith(std::span<const std::uint8_t> bytes, const Bytes& command) {
  return !command.empty() && bytes.size() >= command.size() &&
         std::equal(command.begin(), command.end(), bytes.begin());
}

bool Is(std::span<const std::uint8_t> bytes, const Bytes& command) {
  return bytes.size() == command.size() && BeginsWith(bytes, command);
}

class UartService : public EcuService {
 public:
  UartService(const UartConfig& config, const std::vector<Signal>& signals)
      : config_(config), signals_(signals), faults_(config.faults) {}

  bool Handle(const EcuRequest& request, EcuAnswer& answer) override {
    const auto bytes = request.bytes;
    if (Is(bytes, config_.readFaults)) {
      Answer(request, faults_, answer);
      Append(answer, config_.faultsEnd);
    } else if (Is(bytes, config_.clearFaults)) {
      faults_.clear();
      Answer(request, config_.faultsEnd, answer);
    } else if (BeginsWith(bytes, config_.readMemory)) {
      ReadMemory(request, bytes.subspan(config_.readMemory.size()), answer);
    } else if (BeginsWith(bytes, config_.writeMemory)) {
      WriteMemory(request, bytes.subspan(config_.writeMemory.size()), answer);
    } else {
      return false;
    }
    return true;
  }

 private:
  static void Append(EcuAnswer& answer, std::span<const std::uint8_t> data) {
    answer.response.insert(answer.response.end(), data.begin(), data.end());
  }
  void Answer(const EcuRequest& request, std::span<const std::uint8_t> data,
              EcuAnswer& answer) const {
    const auto repeated = request.bytes.first(std::min(config_.repeats, request.bytes.size()));
    answer.response.assign(repeated.begin(), repeated.end());
    Append(answer, data);
  }

  /// The memory as it is now.
  Bytes MemoryAt(const EcuRequest& request) const {
    Bytes memory = config_.memory.Build(signals_, request.now, request.bytes);
    for (const auto& [offset, byte] : written_) {
      if (offset < memory.size()) memory[offset] = byte;
    }
    return memory;
  }

  /// Where bytes begin to be read or written, from the start of the memory on.
  std::uint32_t OffsetOf(std::span<const std::uint8_t> address) const {
    std::uint32_t value = 0;
    for (const std::uint8_t byte : address) value = value << 8 | byte;
    return value - config_.start;
  }

  // What lies outside of the memory is not answered.
  void ReadMemory(const EcuRequest& request, std::span<const std::uint8_t> address,
                  EcuAnswer& answer) const {
    if (address.size() != config_.addressBytes) return;
    const Bytes memory = MemoryAt(request);
    const std::uint32_t offset = OffsetOf(address);
    if (offset >= memory.size() || memory.size() - offset < config_.count) return;
    Answer(request, std::span(memory).subspan(offset, config_.count), answer);
  }

  void WriteMemory(const EcuRequest& request, std::span<const std::uint8_t> rest,
                   EcuAnswer& answer) {
    if (rest.size() <= config_.addressBytes) return;
    const auto data = rest.subspan(config_.addressBytes);
    const std::uint32_t offset = OffsetOf(rest.first(config_.addressBytes));
    const std::size_t size = MemoryAt(request).size();
    if (offset >= size || size - offset < data.size()) return;
    for (std::size_t i = 0; i < data.size(); ++i) written_[offset + i] = data[i];
    Answer(request, data, answer);
  }

  const UartConfig& config_;
  const std::vector<Signal>& signals_;
  Bytes faults_;
  std::map<std::size_t, std::uint8_t> written_;
};

}  // namespace

std::unique_ptr<EcuService> MakeUartService(const UartConfig& config,
                                            const std::vector<Signal>& signals) {
  return std::make_unique<UartService>(config, signals);
}

}  // namespace virtual_vci
