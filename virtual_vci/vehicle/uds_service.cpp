// Unified diagnostic services of an ECU.
#include <algorithm>
#include <array>
#include <map>

#include "virtual_vci/vehicle/ecu_services.h"
#include "virtual_vci/vehicle/uds_download.h"

namespace virtual_vci {

namespace {

constexpr std::uint8_t kSuppress = 0x80;
constexpr std::uint8_t kDefaultSession = 1;
constexpr std::uint8_t kProgrammingSession = 2;
constexpr std::uint8_t kExtendedSession = 3;
constexpr std::uint8_t kRequestSeed = 1;
constexpr std::uint8_t kSendKey = 2;
constexpr int kMaxAttempts = 3;
constexpr Micros kAttemptDelay = 10000000;
constexpr Micros kSessionTimeout = 5000000;  // S3 of the server
constexpr std::uint16_t kEraseMemory = 0xFF00;
constexpr std::uint16_t kCheckDependencies = 0xFF01;
constexpr std::uint16_t kCompareChecksum = 0x0202;

std::uint32_t Word(std::span<const std::uint8_t> bytes) {
  std::uint32_t value = 0;
  for (const std::uint8_t byte : bytes) value = value << 8 | byte;
  return value;
}

void AppendWord(Bytes& bytes, std::uint32_t value, int count) {
  for (int i = count - 1; i >= 0; --i) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

class UdsService : public EcuService {
 public:
  UdsService(const UdsConfig& config, const std::vector<Signal>& signals)
      : config_(config), signals_(signals) {}

  bool Handle(const EcuRequest& request, EcuAnswer& answer) override {
    if (session_ != kDefaultSession && request.begun > lastActive_ + kSessionTimeout)
      Enter(kDefaultSession);
    lastActive_ = request.now;
    const auto entry = std::find_if(kServices.begin(), kServices.end(), [&](const Service& each) {
      return each.id == request.Service();
    });
    if (entry == kServices.end()) return false;
    if (request.bytes.size() < entry->shortest) {
      answer = EcuAnswer::Refuse(Refusal::kWrongLength);
      return true;
    }
    const bool suppress = entry->subFunction && (request.bytes[1] & kSuppress) != 0;
    answer = (this->*entry->handler)(request);
    if (suppress && answer.refusal == Refusal::kNone && answer.pending == 0)
      answer.response.clear();
    return true;
  }

 private:
  using Handler = EcuAnswer (UdsService::*)(const EcuRequest&);
  struct Service {
    std::uint8_t id;
    std::size_t shortest;
    bool subFunction;  ///< whose top bit asks for no positive response
    Handler handler;
  };
  static const std::array<Service, 10> kServices;

  static std::uint8_t SubFunction(const EcuRequest& request) {
    return request.bytes[1] & ~kSuppress & 0xFF;
  }

  /// Which locks the ECU and ends a download.
  void Enter(std::uint8_t session) {
    session_ = session;
    unlocked_ = false;
    download_.Abort();
  }

  EcuAnswer SessionControl(const EcuRequest& request) {
    const std::uint8_t session = SubFunction(request);
    if (session < kDefaultSession || session > kExtendedSession) {
      return EcuAnswer::Refuse(Refusal::kSubFunctionNotSupported);
    }
    Enter(session);
    return {{kPositive + 0x10, session, 0x00, 0x32, 0x01, 0xF4}};  // P2 50 ms, P2* 5 s
  }

  EcuAnswer EcuReset(const EcuRequest& request) {
    const std::uint8_t kind = SubFunction(request);
    if (kind < 1 || kind > 3) return EcuAnswer::Refuse(Refusal::kSubFunctionNotSupported);
    Enter(kDefaultSession);
    return {{kPositive + 0x11, kind}};
  }

  EcuAnswer ReadData(const EcuRequest& request) {
    if (request.bytes.size() % 2 == 0) return EcuAnswer::Refuse(Refusal::kWrongLength);
    EcuAnswer answer{{kPositive + 0x22}};
    for (std::size_t at = 1; at < request.bytes.size(); at += 2) {
      const auto id = static_cast<std::uint16_t>(Word(request.bytes.subspan(at, 2)));
      const auto* known = FindIdentifier(id);
      if (known == nullptr) continue;
      const auto written = written_.find(id);
      const Bytes data = written != written_.end()
                             ? written->second
                             : known->data.Build(signals_, request.now, request.bytes);
      AppendWord(answer.response, id, 2);
      answer.response.insert(answer.response.end(), data.begin(), data.end());
    }
    return answer.response.size() > 1 ? answer : EcuAnswer::Refuse(Refusal::kOutOfRange);
  }

  EcuAnswer WriteData(const EcuRequest& request) {
    const auto id = static_cast<std::uint16_t>(Word(request.bytes.subspan(1, 2)));
    const auto* known = FindIdentifier(id);
    if (known == nullptr || !known->writable) return EcuAnswer::Refuse(Refusal::kOutOfRange);
    if (session_ == kDefaultSession) return EcuAnswer::Refuse(Refusal::kNotInSession);
    if (!unlocked_) return EcuAnswer::Refuse(Refusal::kAccessDenied);
    const auto data = request.bytes.subspan(3);
    if (data.size() != known->data.Build(signals_, request.now, {}).size()) {
      return EcuAnswer::Refuse(Refusal::kWrongLength);
    }
    written_[id] = Bytes(data.begin(), data.end());
    return {{kPositive + 0x2E, request.bytes[1], request.bytes[2]}};
  }

  EcuAnswer SecurityAccess(const EcuRequest& request) {
    if (session_ == kDefaultSession) return EcuAnswer::Refuse(Refusal::kNotInSession);
    const std::uint8_t step = SubFunction(request);
    if (step == kRequestSeed) return RequestSeed(request);
    return step == kSendKey ? SendKey(request)
                            : EcuAnswer::Refuse(Refusal::kSubFunctionNotSupported);
  }

  EcuAnswer RequestSeed(const EcuRequest& request) {
    if (request.bytes.size() != 2) return EcuAnswer::Refuse(Refusal::kWrongLength);
    if (attempts_ >= kMaxAttempts) {
      if (request.now < blockedUntil_) return EcuAnswer::Refuse(Refusal::kDelayNotExpired);
      attempts_ = 0;
    }
    // Any seed that is never 0 will do: 0 tells that the ECU is unlocked already.
    seed_ = unlocked_ ? 0 : static_cast<std::uint32_t>(request.now * 2654435761u) | 1u;
    EcuAnswer answer{{kPositive + 0x27, kRequestSeed}};
    AppendWord(answer.response, seed_, 4);
    return answer;
  }

  EcuAnswer SendKey(const EcuRequest& request) {
    if (request.bytes.size() != 6) return EcuAnswer::Refuse(Refusal::kWrongLength);
    if (seed_ == 0) return EcuAnswer::Refuse(Refusal::kSequenceError);
    const bool right = Word(request.bytes.subspan(2)) == (seed_ ^ config_.secret);
    seed_ = 0;
    if (right) {
      unlocked_ = true;
      attempts_ = 0;
      return {{kPositive + 0x27, kSendKey}};
    }
    if (++attempts_ < kMaxAttempts) return EcuAnswer::Refuse(Refusal::kInvalidKey);
    blockedUntil_ = request.now + kAttemptDelay;
    return EcuAnswer::Refuse(Refusal::kTooManyAttempts);
  }

  EcuAnswer RoutineControl(const EcuRequest& request) {
    if (SubFunction(request) != 1) return EcuAnswer::Refuse(Refusal::kSubFunctionNotSupported);
    const auto id = static_cast<std::uint16_t>(Word(request.bytes.subspan(2, 2)));
    EcuAnswer answer{{kPositive + 0x31, 0x01, request.bytes[2], request.bytes[3]}};
    if (id == kEraseMemory) {
      if (!MayProgram()) return EcuAnswer::Refuse(Refusal::kAccessDenied);
      answer.response.push_back(0);
      answer.pending = 2;  // it takes its time
      return answer;
    }
    if (id == kCompareChecksum) {
      if (request.bytes.size() != 8) return EcuAnswer::Refuse(Refusal::kWrongLength);
      answer.response.push_back(Word(request.bytes.subspan(4)) == download_.Checksum() ? 0 : 1);
      return answer;
    }
    if (id != kCheckDependencies) return EcuAnswer::Refuse(Refusal::kOutOfRange);
    answer.response.push_back(download_.Completed() != 0 ? 0 : 1);
    return answer;
  }

  EcuAnswer RequestDownload(const EcuRequest& request) {
    if (!MayProgram()) return EcuAnswer::Refuse(Refusal::kAccessDenied);
    const std::size_t sizeBytes = request.bytes[2] >> 4;
    const std::size_t addressBytes = request.bytes[2] & 0x0F;
    const bool good = sizeBytes >= 1 && sizeBytes <= 4 && addressBytes >= 1 && addressBytes <= 4;
    if (!good) return EcuAnswer::Refuse(Refusal::kOutOfRange);
    if (request.bytes.size() != 3 + addressBytes + sizeBytes)
      return EcuAnswer::Refuse(Refusal::kWrongLength);
    const std::uint32_t size = Word(request.bytes.subspan(3 + addressBytes));
    if (const Refusal refusal = download_.Begin(size, config_.downloadLimit);
        refusal != Refusal::kNone) {
      return EcuAnswer::Refuse(refusal);
    }
    EcuAnswer answer{{kPositive + 0x34, 0x20}};
    AppendWord(answer.response, Download::kMaxBlock, 2);
    return answer;
  }

  EcuAnswer TransferData(const EcuRequest& request) {
    if (const Refusal refusal = download_.Block(request.bytes[1], request.bytes.subspan(2));
        refusal != Refusal::kNone) {
      return EcuAnswer::Refuse(refusal);
    }
    return {{kPositive + 0x36, request.bytes[1]}};
  }

  /// With four bytes behind it, the checksum has to be right.
  EcuAnswer TransferExit(const EcuRequest& request) {
    if (request.bytes.size() != 1 && request.bytes.size() != 5)
      return EcuAnswer::Refuse(Refusal::kWrongLength);
    if (const Refusal refusal = download_.End(); refusal != Refusal::kNone)
      return EcuAnswer::Refuse(refusal);
    if (request.bytes.size() == 5 && Word(request.bytes.subspan(1)) != download_.Checksum()) {
      return EcuAnswer::Refuse(Refusal::kProgrammingFailure);
    }
    EcuAnswer answer{{kPositive + 0x37}};
    AppendWord(answer.response, download_.Checksum(), 4);
    return answer;
  }

  EcuAnswer TesterPresent(const EcuRequest& request) {
    if (SubFunction(request) != 0) return EcuAnswer::Refuse(Refusal::kSubFunctionNotSupported);
    return {{kPositive + 0x3E, 0x00}};
  }

  bool MayProgram() const { return session_ == kProgrammingSession && unlocked_; }

  const UdsConfig::Identifier* FindIdentifier(std::uint16_t id) const {
    const auto found = std::find_if(config_.identifiers.begin(), config_.identifiers.end(),
                                    [&](const auto& each) { return each.id == id; });
    return found == config_.identifiers.end() ? nullptr : &*found;
  }

  const UdsConfig& config_;
  const std::vector<Signal>& signals_;
  std::uint8_t session_ = kDefaultSession;
  Micros lastActive_ = 0;  ///< when a request was answered last
  bool unlocked_ = false;
  std::uint32_t seed_ = 0;  ///< 0: none is out
  int attempts_ = 0;
  Micros blockedUntil_ = 0;
  std::map<std::uint16_t, Bytes> written_;
  Download download_;
};

const std::array<UdsService::Service, 10> UdsService::kServices{{
    {0x10, 2, true, &UdsService::SessionControl},
    {0x11, 2, true, &UdsService::EcuReset},
    {0x22, 3, false, &UdsService::ReadData},
    {0x27, 2, true, &UdsService::SecurityAccess},
    {0x2E, 4, false, &UdsService::WriteData},
    {0x31, 4, true, &UdsService::RoutineControl},
    {0x34, 5, false, &UdsService::RequestDownload},
    {0x36, 2, false, &UdsService::TransferData},
    {0x37, 1, false, &UdsService::TransferExit},
    {0x3E, 2, true, &UdsService::TesterPresent},
}};

}  // namespace

std::unique_ptr<EcuService> MakeUdsService(const UdsConfig& config,
                                           const std::vector<Signal>& signals) {
  return std::make_unique<UdsService>(config, signals);
}

}  // namespace virtual_vci
