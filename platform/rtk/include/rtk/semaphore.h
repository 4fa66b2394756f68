#ifndef RTK_SEMAPHORE_H
#define RTK_SEMAPHORE_H

#include <pthread.h>

namespace rtk
{
// A mutex its owner may take again; each take needs its give. Not bound to a scope: it may be held
// across calls and released later on the same thread. Only the owner may give it.
//
// Built on plain POSIX objects so that it works as a class static constructed during static
// initialisation, and so that destroying it at process exit never blocks, even while held or while
// another thread still waits for it.
class MutexSemaphore
{
public:
    MutexSemaphore();
    ~MutexSemaphore();

    // Blocks until the calling thread owns the mutex; an owner takes it again at once.
    void take();
    // Takes the mutex if that needs no waiting.
    bool tryTake();
    // Releases one take. A give by a thread that does not own the mutex is a programming fault.
    void give();
    bool isOwnedByCurrentThread() const;
    // Takes still to be given by the owner; 0 when free.
    unsigned int getCount() const;
    // Threads blocked in take (for diagnostics and tests).
    unsigned int getWaiterCount() const;

private:
    MutexSemaphore(MutexSemaphore const&) = delete;
    MutexSemaphore& operator=(MutexSemaphore const&) = delete;

    mutable pthread_mutex_t m_lock;
    pthread_cond_t m_freed;
    pthread_t m_owner;
    unsigned int m_count = 0;
    unsigned int m_waiters = 0;
};

// A semaphore that holds one signal at most. A give while threads wait in take hands the signal to
// one of them directly, so it cannot be merged with a later give: two gives with one waiter release
// the waiter and leave the semaphore signalled.
class BinarySemaphore
{
public:
    explicit BinarySemaphore(bool signalled = false);
    ~BinarySemaphore();

    // timeoutMs: -1 (any negative) waits without limit, 0 does not wait, above 0 waits that many ms.
    // True when the signal was taken.
    bool take(int timeoutMs = -1);
    void give();
    // True when a signal is held (for diagnostics; it may change at once).
    bool isSignalled() const;
    // Threads blocked in take (for diagnostics and tests).
    unsigned int getWaiterCount() const;

private:
    BinarySemaphore(BinarySemaphore const&) = delete;
    BinarySemaphore& operator=(BinarySemaphore const&) = delete;

    mutable pthread_mutex_t m_lock;
    pthread_cond_t m_handedOver;
    bool m_signalled = false;
    unsigned int m_waiters = 0;
    unsigned int m_handoffs = 0; // signals given to waiting threads and not yet claimed
};
} // namespace rtk

#endif
