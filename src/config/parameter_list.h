#ifndef PASSBRIDGE_CONFIG_PARAMETER_LIST_H_
#define PASSBRIDGE_CONFIG_PARAMETER_LIST_H_

#include <cstdint>
#include <map>
#include <memory>

#include "config/channel_link.h"
#include "config/parameter.h"
#include "j2534/cj2534.h"
#include "trace/location.h"

namespace passbridge {

/// The J2534 configuration parameters of one channel. J1962_PINS is not among them: the channel
/// keeps it. The list is filled once; after that any thread may use it.
class CJ2534ParameterList : public CJ2534 {
 public:
  CJ2534ParameterList();
  /// @param channel the owner of the list, which outlives it
  explicit CJ2534ParameterList(ChannelLink* channel);
  CJ2534ParameterList(const CJ2534ParameterList&) = delete;
  CJ2534ParameterList& operator=(const CJ2534ParameterList&) = delete;
  ~CJ2534ParameterList();

  /// Fills the list with what channels of this ProtocolType hold, at their defaults. A parameter
  /// that cannot be added is reported and missing.
  /// @param channel the owner of the list, which outlives it
  Status Initialize(ChannelLink* channel);

  Status AddJ2534Parameter(std::uint32_t parameterId);
  /// A parameter that the list has already keeps its value: the offered one goes, with success.
  Status AddJ2534Parameter(std::unique_ptr<CJ2534Parameter> parameter);

  /// Lends the parameter; it lives until the list is cleared. ERR_NOT_SUPPORTED for one that
  /// channels of this protocol do not hold.
  Status GetJ2534Parameter(std::uint32_t parameterId, CJ2534Parameter** parameter) const;
  Status GetJ2534ParameterValue(std::uint32_t parameterId, std::uint32_t* value) const;
  /// Sets the value, in J2534 units; W0, W5 and TIDLE drive one ComParam, so each of them sets all
  /// that the list holds. Nothing goes to the link.
  Status SetJ2534ParameterValue(std::uint32_t parameterId, std::uint32_t value);
  Status ClearJ2534Parameters();

  /// Writes every modified parameter to the link, in ascending order of their IDs. What the link
  /// refuses is reported there and skipped; the result is success all the same. In force after the
  /// channel's next update.
  Status DownloadParameters();

 private:
  ChannelLink& Channel() const;
  void Download(std::uint32_t parameterId, const CJ2534Parameter& parameter);
  Status SetIdleTimes(std::uint32_t value);

  ChannelLink* channel_ = nullptr;
  std::map<std::uint32_t, std::unique_ptr<CJ2534Parameter>> parameters_;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_CONFIG_PARAMETER_LIST_H_
