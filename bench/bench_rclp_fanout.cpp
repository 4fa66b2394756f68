// The remote control link over loopback: one panel state change fanned out to 1, 100 and 1000
// subscribed clients, timed until the last client has the whole update line; and updates per second
// to 100 clients (batches of 100 changes, each sent to every client).
//
// Every client is a socket of this process, read through one epoll set on a reader thread; the core
// runs as after start-up (interpreter mutex released), listening on a free loopback port.

#include "panelfunctionsystem.h"
#include "pdlinterpreter.h"
#include "pdlpanelstate.h"

#include "logkit/logging.h"
#include "rclp/rclplistener.h"
#include "rtk/log.h"

#include <basekit/fidhelper.h>
#include <interfaces/ifunctionid.h>

#include <benchmark/benchmark.h>

#include <arpa/inet.h>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <memory>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace
{
class NullFunctionID : public IFunctionID
{
public:
    bool subscribeFunctionID(std::string const&) override { return true; }
    bool callFunctionID(std::string const&, FIDParameterList const&) override { return true; }
};

class FanOut
{
public:
    // Starts the core and connects clients, each subscribed to fid with its first update read.
    bool start(benchmark::State& state, int clients, std::string const& fid)
    {
        // Three descriptors per client (ours, the server's socket and its wake-up): ask for room.
        rlimit limit;
        if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max)
        {
            limit.rlim_cur = limit.rlim_max;
            setrlimit(RLIMIT_NOFILE, &limit);
        }
        if (!rtk::LogManager::hasInstance())
        {
            rtk::LogManager::createInstance();
        }
        Orvane::Utilities::Logging::LogManager::instance().setLevel("RCLP", 3);
        m_pCore.reset(new PanelFunctionSystem);
        m_pCore->setFunctionIDInterface(&m_functionID);
        PDLInterpreter::mutexGive();
        RCLPListener::setListenOverride("127.0.0.1", 0);
        m_pCore->startRCLPListener();
        RCLPListener::setListenOverride("", -1);
        if (m_pCore->getRCLPListener() == nullptr || m_pCore->getRCLPListener()->getPort() == 0)
        {
            state.SkipWithError("the listener did not start");
            return false;
        }
        m_epoll = epoll_create1(EPOLL_CLOEXEC);
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(m_pCore->getRCLPListener()->getPort());
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        std::string request = "{\"op\":\"subscribe\",\"fid\":\"" + fid + "\"}\n";
        for (int i = 0; i < clients; ++i)
        {
            int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
            if (fd < 0 || connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
                send(fd, request.data(), request.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(request.size()))
            {
                state.SkipWithError("cannot connect a client (open-file limit?)");
                if (fd >= 0)
                {
                    close(fd);
                }
                return false;
            }
            epoll_event event = {};
            event.events = EPOLLIN;
            event.data.u32 = static_cast<uint32_t>(i);
            epoll_ctl(m_epoll, EPOLL_CTL_ADD, fd, &event);
            m_fds.push_back(fd);
        }
        m_lines.assign(m_fds.size(), 0);
        expectLines(1); // the present value, answer to the subscribe
        m_reader = std::thread(&FanOut::readLoop, this);
        waitLines();
        return true;
    }

    ~FanOut()
    {
        m_reading = false;
        if (m_reader.joinable())
        {
            m_reader.join();
        }
        for (int fd : m_fds)
        {
            close(fd);
        }
        if (m_epoll >= 0)
        {
            close(m_epoll);
        }
        // Ends every connection, waiting for each.
        m_pCore.reset();
    }

    // Every client is to receive `lines` more complete lines from now on.
    void expectLines(long lines)
    {
        std::lock_guard<std::mutex> guard(m_lock);
        m_target += lines;
        m_done = 0;
    }
    // Waits until every client has its lines (5 s at most: a lost line shows in the figures, not as
    // a hang).
    void waitLines()
    {
        std::unique_lock<std::mutex> guard(m_lock);
        m_allDone.wait_for(guard, std::chrono::seconds(5), [this] { return m_done == m_fds.size(); });
    }

    PDLPanelState* state() { return PDLPanelState::getInstance(); }

private:
    // The clients' side, on a thread of its own as separate client processes would be.
    void readLoop()
    {
        char buffer[65536];
        epoll_event events[256];
        while (m_reading.load())
        {
            int ready = epoll_wait(m_epoll, events, 256, 50);
            for (int e = 0; e < ready; ++e)
            {
                uint32_t i = events[e].data.u32;
                ssize_t got = recv(m_fds[i], buffer, sizeof(buffer), MSG_DONTWAIT);
                for (ssize_t b = 0; b < got; ++b)
                {
                    if (buffer[b] == '\n')
                    {
                        std::lock_guard<std::mutex> guard(m_lock);
                        if (++m_lines[i] == m_target && ++m_done == m_fds.size())
                        {
                            m_allDone.notify_one();
                        }
                    }
                }
            }
        }
    }

    NullFunctionID m_functionID;
    std::unique_ptr<PanelFunctionSystem> m_pCore;
    int m_epoll = -1;
    std::vector<int> m_fds;
    std::vector<long> m_lines; // per client, read by the reader thread under m_lock
    std::mutex m_lock;
    std::condition_variable m_allDone;
    long m_target = 0;
    size_t m_done = 0;
    std::atomic<bool> m_reading{true};
    std::thread m_reader;
};

// One change, timed until the last subscribed client has the line.
void BM_FanOutOneChange(benchmark::State& state)
{
    FanOut fanOut;
    if (!fanOut.start(state, static_cast<int>(state.range(0)), "BENCH.FANOUT.VALUE"))
    {
        return;
    }
    long value = 0;
    for (auto _ : state)
    {
        fanOut.expectLines(1);
        fanOut.state()->setStateValue("BENCH.FANOUT.VALUE", std::to_string(++value));
        fanOut.waitLines();
    }
    state.counters["clients"] = static_cast<double>(state.range(0));
}
BENCHMARK(BM_FanOutOneChange)->Arg(1)->Iterations(2000)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_FanOutOneChange)->Arg(100)->Iterations(500)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_FanOutOneChange)->Arg(1000)->Iterations(200)->Unit(benchmark::kMicrosecond)->UseRealTime();

// Changes per second, each sent to every one of 100 clients.
void BM_UpdatesTo100Clients(benchmark::State& state)
{
    int const batch = 100;
    FanOut fanOut;
    if (!fanOut.start(state, 100, "BENCH.RATE.VALUE"))
    {
        return;
    }
    long value = 0;
    for (auto _ : state)
    {
        fanOut.expectLines(batch);
        for (int i = 0; i < batch; ++i)
        {
            fanOut.state()->setStateValue("BENCH.RATE.VALUE", std::to_string(++value));
        }
        fanOut.waitLines();
    }
    state.SetItemsProcessed(state.iterations() * batch);
}
BENCHMARK(BM_UpdatesTo100Clients)->Iterations(100)->Unit(benchmark::kMillisecond)->UseRealTime();
} // namespace

BENCHMARK_MAIN();
