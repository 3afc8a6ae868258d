// Scoped acquire()/release() on any lock type offering both.
#pragma once

namespace qorv::templates::patterns {

template <typename T>
class Guard {
  public:
    explicit Guard(T& lock) : mLock(lock) { mLock.acquire(); }
    ~Guard() { mLock.release(); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

  private:
    T& mLock;
};

}  // namespace qorv::templates::patterns
