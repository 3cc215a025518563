#include "j2534/app_memory.h"

#include <cstring>

namespace passbridge {

void* AppArray::Elements() const {
  void* elements = nullptr;
  std::memcpy(&elements, static_cast<const std::byte*>(pointer_.address) + sizeof(void*),
              sizeof elements);
  return elements;
}

}  // namespace passbridge
