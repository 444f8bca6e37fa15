// The host's memory: the heap, the request pool, and private pools that go away as a whole.
#pragma once

#include <list>
#include <memory>

#include "host/memory.h"
#include "runtime/fault_point.h"

namespace fileref::runtime {

// A pool that knows what is still out. Everything left is released when the pool ends.
class CountedPool : public POOL {
 public:
  // `faults` decides which allocations fail; it must outlive the pool.
  explicit CountedPool(FaultPoint& faults);
  ~CountedPool();
  CountedPool(const CountedPool&) = delete;
  CountedPool& operator=(const CountedPool&) = delete;

  long blocks() const { return blocks_; }
  long bytes() const { return bytes_; }

 private:
  struct Block;
  static ptr allocate(POOL* pool, long length, long flags);
  static void release(POOL* pool, ptr address, long length, long flags);

  FaultPoint& faults_;
  Block* first_ = nullptr;
  long blocks_ = 0;
  long bytes_ = 0;
};

class Memory {
 public:
  Memory() : heap_(allocation_faults_), request_(allocation_faults_) {}

  CountedPool& heap() { return heap_; }
  CountedPool& request_pool() { return request_; }
  // Null when the armed fault hits.
  POOL* create_private_pool();
  // False when `pool` is no private pool of ours.
  bool delete_private_pool(POOL* pool);

  // Blocks out of any pool, and private pools not deleted yet.
  long outstanding() const;
  FaultPoint& allocation_faults() { return allocation_faults_; }

 private:
  FaultPoint allocation_faults_;
  CountedPool heap_;
  CountedPool request_;
  std::list<CountedPool> private_;
};

}  // namespace fileref::runtime
