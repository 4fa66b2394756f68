// Panel state writes per second through IPanelState, with the main loop running beside the writer:
// one entry with 0, 10 or 1000 subscribers served by the event manager, a write that changes nothing,
// and 10k entries under one wildcard subscriber.

#include "pdleventmanager.h"
#include "pdlpanelstate.h"
#include "virtualpanel.h"

#include "rtk/log.h"
#include "rtk/thread.h"

#include <basekit/fidhelper.h>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace
{
// The core needs a driver library at bin/libmoduledriver.so below the working directory; any library
// that offers the driver interfaces is enough when no PDL runs.
bool prepareDriver()
{
    if (std::filesystem::exists("bin/libmoduledriver.so"))
    {
        return true;
    }
    char const* pDriver = std::getenv("VP_BENCH_DRIVER");
    if (pDriver == nullptr)
    {
        return false;
    }
    std::filesystem::create_directories("bin");
    std::filesystem::create_symlink(pDriver, "bin/libmoduledriver.so");
    return true;
}

// A subscriber served by the main loop that does no work of its own, so the figures show the store
// and the engine only.
class NullSubscriber : public PDLStateSubscriber
{
public:
    std::string getDescription(int) const override { return "bench"; }
    void update() override { ++m_updates; }
    unsigned long m_updates = 0;
};

// The running core with the interpreter mutex released, as after start-up.
class Core
{
public:
    bool start(benchmark::State& state)
    {
        if (!rtk::LogManager::hasInstance())
        {
            rtk::LogManager::createInstance();
        }
        if (!prepareDriver())
        {
            state.SkipWithError("no bin/libmoduledriver.so (set VP_BENCH_DRIVER to a driver library)");
            return false;
        }
        m_pPanel.reset(new VirtualPanel);
        if (!m_pPanel->create(VirtualPanel::eModeHardware, ""))
        {
            state.SkipWithError("create failed");
            // A panel whose create failed may not be destroyed: it is left behind.
            VirtualPanel* pLeft = m_pPanel.release();
            (void)pLeft;
            return false;
        }
        m_pPanel->releaseMutex();
        m_pState = getInterface<IPanelState>(m_pPanel.get());
        m_pPublisher = getInterface<IPSPublisher>(m_pPanel.get());
        return m_pState != nullptr && m_pPublisher != nullptr;
    }

    void waitIdle() const
    {
        PDLEventManager* pManager = PDLEventManager::getInstance();
        while (!pManager->isIdle())
        {
            rtk::Thread::mssleep(0);
        }
    }

    std::unique_ptr<VirtualPanel> m_pPanel;
    IPanelState* m_pState = nullptr;
    IPSPublisher* m_pPublisher = nullptr;
};

void BM_StateWriteOneEntry(benchmark::State& state)
{
    Core core;
    if (!core.start(state))
    {
        return;
    }
    int const count = static_cast<int>(state.range(0));
    std::vector<NullSubscriber> subscribers(static_cast<size_t>(count));
    for (NullSubscriber& subscriber : subscribers)
    {
        core.m_pPublisher->subscribe("BENCH.VALUE", PDLStateSubscriberKey(&subscriber, 0));
    }

    int value = 0;
    for (auto _ : state)
    {
        core.m_pState->setStateValueInt("BENCH.VALUE", ++value);
    }
    core.waitIdle();
    state.SetItemsProcessed(state.iterations());

    for (NullSubscriber& subscriber : subscribers)
    {
        core.m_pPublisher->unsubscribe("BENCH.VALUE", PDLStateSubscriberKey(&subscriber, 0));
    }
}
BENCHMARK(BM_StateWriteOneEntry)->Arg(0)->Arg(10)->Arg(1000)->UseRealTime();

// The same value again: a lookup, a comparison and a wake-up of the main loop.
void BM_StateWriteUnchanged(benchmark::State& state)
{
    Core core;
    if (!core.start(state))
    {
        return;
    }
    NullSubscriber subscriber;
    core.m_pPublisher->subscribe("BENCH.VALUE", PDLStateSubscriberKey(&subscriber, 0));
    for (auto _ : state)
    {
        core.m_pState->setStateValueInt("BENCH.VALUE", 7);
    }
    core.waitIdle();
    state.SetItemsProcessed(state.iterations());
    core.m_pPublisher->unsubscribe("BENCH.VALUE", PDLStateSubscriberKey(&subscriber, 0));
}
BENCHMARK(BM_StateWriteUnchanged)->UseRealTime();

// 10k entries, all under one wildcard subscription; the writes walk the entries in turn.
void BM_StateWriteWildcard10k(benchmark::State& state)
{
    Core core;
    if (!core.start(state))
    {
        return;
    }
    int const entries = 10000;
    std::vector<std::string> fids;
    for (int i = 0; i < entries; ++i)
    {
        fids.push_back("PANEL.DEV." + std::to_string(i) + ".VALUE");
        core.m_pState->setStateValueInt(fids.back(), 0);
    }
    NullSubscriber subscriber;
    FIDPatternHelper const pattern("PANEL.DEV.[N:*].VALUE");
    core.m_pPublisher->subscribeWildcard(pattern, PDLStateSubscriberKey(&subscriber, 0));
    core.waitIdle();

    int value = 0;
    size_t i = 0;
    for (auto _ : state)
    {
        core.m_pState->setStateValueInt(fids[i], ++value);
        if (++i == fids.size())
        {
            i = 0;
        }
    }
    core.waitIdle();
    state.SetItemsProcessed(state.iterations());
    core.m_pPublisher->unsubscribeWildcard(pattern, PDLStateSubscriberKey(&subscriber, 0));
}
BENCHMARK(BM_StateWriteWildcard10k)->UseRealTime();
} // namespace

BENCHMARK_MAIN();
