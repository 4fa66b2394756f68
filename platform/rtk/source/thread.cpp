#include "rtk/thread.h"

#include <chrono>
#include <system_error>

namespace rtk
{
Thread::Thread(std::string const& name) : m_name(name) {}

Thread::~Thread()
{
    if (m_thread.joinable() && m_thread.get_id() != std::this_thread::get_id())
        m_thread.join();
    else if (m_thread.joinable())
        m_thread.detach();
}

bool Thread::start(int priority)
{
    std::unique_lock<std::mutex> lock(m_stateLock);
    if (m_running)
        return false;
    lock.unlock();
    // A thread that ran before has ended: collect it before starting the next one.
    if (m_thread.joinable())
        m_thread.join();
    lock.lock();
    m_priority = priority;
    m_running = true;
    m_threadId = std::thread::id();
    lock.unlock();
    try
    {
        m_thread = std::thread(&Thread::threadMain, this);
    }
    catch (std::system_error const&)
    {
        lock.lock();
        m_running = false;
        return false;
    }
    return true;
}

void Thread::threadMain()
{
    {
        std::lock_guard<std::mutex> lock(m_stateLock);
        m_threadId = std::this_thread::get_id();
    }
    run();
    std::lock_guard<std::mutex> lock(m_stateLock);
    m_running = false;
    m_ended.notify_all();
}

bool Thread::shutdown(int timeoutMs)
{
    if (!m_thread.joinable())
        return true;
    if (isCurrentThread(*this))
        return false;
    if (!shutdownCallback())
        return false;
    {
        std::unique_lock<std::mutex> lock(m_stateLock);
        if (timeoutMs < 0)
            m_ended.wait(lock, [this] { return !m_running; });
        else if (!m_ended.wait_for(lock, std::chrono::milliseconds(timeoutMs), [this] { return !m_running; }))
            return false;
    }
    m_thread.join();
    return true;
}

bool Thread::isRunning() const
{
    std::lock_guard<std::mutex> lock(m_stateLock);
    return m_running;
}

void Thread::mssleep(int ms)
{
    if (ms > 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

bool Thread::isCurrentThread(Thread const& thread)
{
    std::lock_guard<std::mutex> lock(thread.m_stateLock);
    return thread.m_threadId == std::this_thread::get_id();
}
} // namespace rtk
