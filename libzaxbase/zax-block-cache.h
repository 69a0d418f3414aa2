#ifndef ZAX_BLOCK_CACHE_H
#define ZAX_BLOCK_CACHE_H

#include <cstddef>
#include <new>

namespace zax {

/// Memory for objects of which one thread makes and deletes many, all at once: an allocator would
/// merge the pieces and cut them again each time. Its blocks are of one size; larger objects come
/// from the allocator, and all of them where the address sanitizer watches it. One for each thread.
class BlockCache {
 public:
#ifdef __SANITIZE_ADDRESS__
  static constexpr std::size_t blockSize = 0;
#else
  static constexpr std::size_t blockSize = 256;  // bytes
#endif
  static constexpr std::size_t mostBlocks = 1024;

  BlockCache() = default;
  ~BlockCache() {
    while (first_) ::operator delete(take());
    count_ = mostBlocks;  // What is deleted after this goes back to the allocator.
  }
  BlockCache(const BlockCache&) = delete;
  BlockCache& operator=(const BlockCache&) = delete;

  void* allocate(std::size_t size) {
    if (size > blockSize) return ::operator new(size);
    return first_ ? take() : ::operator new(blockSize);
  }

  void release(void* memory, std::size_t size) noexcept {
    if (size > blockSize || count_ == mostBlocks) return ::operator delete(memory);
    first_ = new (memory) Block{first_};
    ++count_;
  }

 private:
  struct Block {
    Block* next;
  };

  void* take() {
    Block* block = first_;
    first_ = block->next;
    --count_;
    return block;
  }

  Block* first_ = nullptr;
  std::size_t count_ = 0;
};

}  // namespace zax

#endif
