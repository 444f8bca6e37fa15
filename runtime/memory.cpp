#include "runtime/memory.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

namespace fileref::runtime {

struct alignas(std::max_align_t) CountedPool::Block {
  CountedPool* pool;
  Block* previous;
  Block* next;
  long length;
};

CountedPool::CountedPool(FaultPoint& faults) : POOL{&allocate, &release}, faults_(faults) {}

CountedPool::~CountedPool() {
  for (Block* block = first_; block != nullptr;) {
    Block* next = block->next;
    std::free(block);
    block = next;
  }
}

ptr CountedPool::allocate(POOL* base, long length, long flags) {
  auto* pool = static_cast<CountedPool*>(base);
  if (length < 0 || pool->faults_.hit()) return nullptr;
  auto* block = static_cast<Block*>(std::malloc(sizeof(Block) + static_cast<std::size_t>(length)));
  if (block == nullptr) return nullptr;
  *block = {pool, nullptr, pool->first_, length};
  if (pool->first_ != nullptr) pool->first_->previous = block;
  pool->first_ = block;
  ++pool->blocks_;
  pool->bytes_ += length;
  // What nobody promised to be zero is made to look it in no build that is tested.
  constexpr int kGarbage = 0xA5;
  const bool zeroed = (flags & kZeroBits) != 0;
#ifdef NDEBUG
  if (zeroed) std::memset(block + 1, 0, static_cast<std::size_t>(length));
#else
  std::memset(block + 1, zeroed ? 0 : kGarbage, static_cast<std::size_t>(length));
#endif
  (void)kGarbage;
  return block + 1;
}

void CountedPool::release(POOL* base, ptr address, long /*length*/, long /*flags*/) {
  if (address == nullptr) return;
  auto* pool = static_cast<CountedPool*>(base);
  Block* block = static_cast<Block*>(address) - 1;
  if (block->pool != pool) std::abort();  // a block given back to another pool than its own
  (block->previous != nullptr ? block->previous->next : pool->first_) = block->next;
  if (block->next != nullptr) block->next->previous = block->previous;
  --pool->blocks_;
  pool->bytes_ -= block->length;
  block->pool = nullptr;
  std::free(block);
}

POOL* Memory::create_private_pool() {
  if (allocation_faults_.hit()) return nullptr;
  return &private_.emplace_back(allocation_faults_);
}

bool Memory::delete_private_pool(POOL* pool) {
  const auto found = std::find_if(private_.begin(), private_.end(),
                                  [pool](const CountedPool& own) { return &own == pool; });
  if (found == private_.end()) return false;
  private_.erase(found);
  return true;
}

long Memory::outstanding() const {
  return heap_.blocks() + request_.blocks() + static_cast<long>(private_.size());
}

}  // namespace fileref::runtime
