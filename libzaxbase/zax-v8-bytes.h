#ifndef ZAX_V8_BYTES_H
#define ZAX_V8_BYTES_H

#include <cstddef>
#include <cstdint>

#include "zax-backend.h"

namespace zax {

// The backend's functions for memory, as zax-backend.h describes them.

bool getBytes(ZaxValue* value, ZaxBytesView* view);
void copyBytes(ZaxValue* value, std::uint8_t* target, std::size_t size);
ZaxValue* makeBuffer(std::uint8_t* data, std::size_t size, void (*free)(void* data, void* hint),
                     void* hint);
ZaxValue* makeSmallBuffer(const std::uint8_t* data, std::size_t size);
ZaxValue* makeView(ZaxMemory* memory, const std::uint8_t* data, std::size_t size,
                   ZaxElementType type);
ZaxMemory* holdMemory(ZaxValue* bytes, std::uint8_t** data);
void releaseMemory(ZaxMemory* memory);
ZaxMemory* allocateMemory(std::size_t bytes, std::uint8_t** data);

}  // namespace zax

#endif
