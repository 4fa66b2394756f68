// Events per second through IPanelEvent::sendEvent and the main loop, with no PDL attached: the cost of
// queueing, waking the engine and draining the hardware queue.

#include "pdleventmanager.h"
#include "virtualpanel.h"

#include "rtk/log.h"
#include "rtk/thread.h"

#include "core_idlemacrosystem.h"

#include <basekit/uniqueids.h>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace
{
// The core needs a driver library at bin/libmoduledriver.so below the working directory; an empty
// one that offers nothing is enough when no PDL runs.
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

void BM_SendEventThroughMainLoop(benchmark::State& state)
{
    if (!rtk::LogManager::hasInstance())
    {
        rtk::LogManager::createInstance();
    }
    if (!prepareDriver())
    {
        state.SkipWithError("no bin/libmoduledriver.so (set VP_BENCH_DRIVER to a driver library)");
        return;
    }
    IdleMacroSystem macroSystem;
    VirtualPanel panel;
    if (!panel.create(VirtualPanel::eModeHardware, ""))
    {
        state.SkipWithError("create failed");
        return;
    }
    panel.setMacroSystemInterface(&macroSystem);
    panel.releaseMutex();
    PDLEventManager* pManager = PDLEventManager::getInstance();
    int const burst = static_cast<int>(state.range(0));

    for (auto _ : state)
    {
        for (int i = 0; i < burst; ++i)
        {
            pManager->sendEvent(UniqueWidgetID(0, 0, 1, static_cast<uint16_t>(1 + i % 64)), "DOWN", i, false);
        }
        while (!pManager->isIdle())
        {
            rtk::Thread::mssleep(0);
        }
    }
    state.SetItemsProcessed(state.iterations() * burst);
}
BENCHMARK(BM_SendEventThroughMainLoop)->Arg(1)->Arg(64)->Arg(1024)->UseRealTime();
} // namespace

BENCHMARK_MAIN();
