#pragma once

// A lock that a LockGuard can hold. Objects are destroyed through their own type.
class Lockable {
  public:
    virtual void lock() = 0;
    virtual void unlock() = 0;

  protected:
    Lockable() = default;
    ~Lockable() = default;
};

// Holds a lock for a scope, or nothing if it is given null. What the lock throws passes through.
class LockGuard {
  public:
    explicit LockGuard(Lockable* lockable) : lock(lockable) {
        if (lock != nullptr) {
            lock->lock();
        }
    }

    ~LockGuard() noexcept(false) {
        if (lock != nullptr) {
            lock->unlock();
        }
    }

    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

  private:
    Lockable* lock;
};
