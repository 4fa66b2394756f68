#ifndef RTK_THREAD_H
#define RTK_THREAD_H

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace rtk
{
// Base of a thread with its own run(). A derived class must stop its thread (shutdown) in its own
// destructor: the base destructor only joins, and by then the derived part is gone.
class Thread
{
public:
    // Priorities are recorded and otherwise ignored: all threads run at the system's normal priority.
    enum EPriority : int
    {
        ePriorityIdle = 256,
        ePriorityLow = 257,
        ePriorityNormal = 258,
        ePriorityAboveNormal = 259,
        ePriorityHigh = 260,
        ePriorityHighest = 261
    };

    explicit Thread(std::string const& name = "");
    virtual ~Thread();

    // Starts run() on a new thread at once. False when the thread is already running or cannot start.
    bool start(int priority = ePriorityNormal);

    // Calls shutdownCallback() once, then waits for run() to end: timeoutMs -1 (any negative) without
    // limit, 0 not at all, else that many ms. True when the thread has ended (also when it never
    // started). A false callback result means the thread declined to stop: nothing is waited for and
    // the result is false. Must not be called from the thread itself.
    bool shutdown(int timeoutMs = -1);

    bool isRunning() const;
    std::string const& getName() const { return m_name; }
    int getPriority() const { return m_priority; }

    // Sleeps ms milliseconds; 0 and negative values do not sleep.
    static void mssleep(int ms);
    static bool isCurrentThread(Thread const& thread);

protected:
    virtual void run() = 0;
    // Asks run() to end (set a flag, give a semaphore ...). True when the request was made.
    virtual bool shutdownCallback() { return true; }

private:
    Thread(Thread const&) = delete;
    Thread& operator=(Thread const&) = delete;

    void threadMain();

    std::string m_name;
    int m_priority = ePriorityNormal;
    std::thread m_thread;
    std::thread::id m_threadId; // set by the thread itself before run(), so run() may ask at once
    mutable std::mutex m_stateLock;
    std::condition_variable m_ended;
    bool m_running = false;
};
} // namespace rtk

#endif
