#include "platform/text_stream.h"

#include <fcntl.h>
#include <io.h>

namespace passbridge::platform {

// A pipe that has room for all of the text.
TextStream::TextStream(std::string_view text) {
  if (text.empty() || text.size() > kMost) return;
  const auto size = static_cast<unsigned>(text.size());
  int ends[2] = {};
  if (::_pipe(ends, size, _O_BINARY | _O_NOINHERIT) != 0) return;
  const bool isWritten = ::_write(ends[1], text.data(), size) == static_cast<int>(size);
  ::_close(ends[1]);
  if (isWritten) stream_ = ::_fdopen(ends[0], "rb");
  if (stream_ == nullptr) ::_close(ends[0]);
}

TextStream::~TextStream() {
  if (stream_ != nullptr) std::fclose(stream_);
}

}  // namespace passbridge::platform
