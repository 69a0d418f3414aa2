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
ZaxValue* makeView(const ZaxMemory* memory, const std::uint8_t* data, std::size_t size,
                   ZaxElementType type);
std::uint8_t* holdMemory(ZaxMemory* memory, ZaxValue* bytes);
void copyMemory(ZaxMemory* copy, const ZaxMemory* memory);
void releaseMemory(ZaxMemory* memory);
std::uint8_t* allocateMemory(ZaxMemory* memory, std::size_t bytes);

}  // namespace zax

#endif
