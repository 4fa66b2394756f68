#include "rtk/semaphore.h"

#include "rtk/assert.h"

#include <cerrno>
#include <time.h>

namespace rtk
{
namespace
{
void initMonotonicCondition(pthread_cond_t* pCondition)
{
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(pCondition, &attributes);
    pthread_condattr_destroy(&attributes);
}

struct timespec deadlineAfter(int timeoutMs)
{
    struct timespec deadline;
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += timeoutMs / 1000;
    deadline.tv_nsec += static_cast<long>(timeoutMs % 1000) * 1000000L;
    if (deadline.tv_nsec >= 1000000000L)
    {
        deadline.tv_sec += 1;
        deadline.tv_nsec -= 1000000000L;
    }
    return deadline;
}

// Locks the internal lock for one scope.
class Guard
{
public:
    explicit Guard(pthread_mutex_t* pLock) : m_pLock(pLock) { pthread_mutex_lock(m_pLock); }
    ~Guard() { pthread_mutex_unlock(m_pLock); }

private:
    Guard(Guard const&) = delete;
    Guard& operator=(Guard const&) = delete;
    pthread_mutex_t* m_pLock;
};
} // namespace

// ------------------------------------------------------------------------------------------------

MutexSemaphore::MutexSemaphore() : m_owner()
{
    pthread_mutex_init(&m_lock, nullptr);
    pthread_cond_init(&m_freed, nullptr);
}

MutexSemaphore::~MutexSemaphore()
{
    // At process exit another thread may still wait here: destroying a condition with waiters could
    // block for ever, so the objects are then left as they are.
    if (m_waiters == 0)
    {
        pthread_cond_destroy(&m_freed);
        pthread_mutex_destroy(&m_lock);
    }
}

void MutexSemaphore::take()
{
    Guard guard(&m_lock);
    pthread_t const self = pthread_self();
    if (m_count > 0 && pthread_equal(m_owner, self))
    {
        ++m_count;
        return;
    }
    ++m_waiters;
    while (m_count > 0)
        pthread_cond_wait(&m_freed, &m_lock);
    --m_waiters;
    m_owner = self;
    m_count = 1;
}

bool MutexSemaphore::tryTake()
{
    Guard guard(&m_lock);
    pthread_t const self = pthread_self();
    if (m_count > 0 && !pthread_equal(m_owner, self))
        return false;
    m_owner = self;
    ++m_count;
    return true;
}

void MutexSemaphore::give()
{
    Guard guard(&m_lock);
    bool const ownedByCaller = m_count > 0 && pthread_equal(m_owner, pthread_self());
    if (!ownedByCaller)
        pthread_mutex_unlock(&m_lock); // the assertion ends the process; do not leave the lock held
    RTK_ASSERT(ownedByCaller);
    if (--m_count == 0 && m_waiters > 0)
        pthread_cond_signal(&m_freed);
}

bool MutexSemaphore::isOwnedByCurrentThread() const
{
    Guard guard(&m_lock);
    return m_count > 0 && pthread_equal(m_owner, pthread_self());
}

unsigned int MutexSemaphore::getCount() const
{
    Guard guard(&m_lock);
    return m_count;
}

unsigned int MutexSemaphore::getWaiterCount() const
{
    Guard guard(&m_lock);
    return m_waiters;
}

// ------------------------------------------------------------------------------------------------

BinarySemaphore::BinarySemaphore(bool signalled) : m_signalled(signalled)
{
    pthread_mutex_init(&m_lock, nullptr);
    initMonotonicCondition(&m_handedOver);
}

BinarySemaphore::~BinarySemaphore()
{
    if (m_waiters == 0)
    {
        pthread_cond_destroy(&m_handedOver);
        pthread_mutex_destroy(&m_lock);
    }
}

bool BinarySemaphore::take(int timeoutMs)
{
    Guard guard(&m_lock);
    if (m_signalled)
    {
        m_signalled = false;
        return true;
    }
    if (timeoutMs == 0)
        return false;
    struct timespec const deadline = deadlineAfter(timeoutMs > 0 ? timeoutMs : 0);
    ++m_waiters;
    while (m_handoffs == 0)
    {
        int const result = timeoutMs < 0 ? pthread_cond_wait(&m_handedOver, &m_lock)
                                         : pthread_cond_timedwait(&m_handedOver, &m_lock, &deadline);
        if (result == ETIMEDOUT && m_handoffs == 0)
        {
            --m_waiters;
            return false;
        }
    }
    --m_handoffs;
    --m_waiters;
    return true;
}

void BinarySemaphore::give()
{
    Guard guard(&m_lock);
    if (m_waiters > m_handoffs)
    {
        // A thread waits that has no signal yet: it gets this one.
        ++m_handoffs;
        pthread_cond_signal(&m_handedOver);
    }
    else
    {
        m_signalled = true;
    }
}

bool BinarySemaphore::isSignalled() const
{
    Guard guard(&m_lock);
    return m_signalled;
}

unsigned int BinarySemaphore::getWaiterCount() const
{
    Guard guard(&m_lock);
    return m_waiters - m_handoffs;
}
} // namespace rtk
