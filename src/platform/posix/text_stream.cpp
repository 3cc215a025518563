#include "platform/text_stream.h"

namespace passbridge::platform {

TextStream::TextStream(std::string_view text) {
  if (text.empty() || text.size() > kMost) return;
  // For reading: nothing is written through the pointer.
  stream_ = ::fmemopen(const_cast<char*>(text.data()), text.size(), "r");
}

TextStream::~TextStream() {
  if (stream_ != nullptr) std::fclose(stream_);
}

}  // namespace passbridge::platform
