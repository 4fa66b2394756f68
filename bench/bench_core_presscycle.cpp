// The whole cycle of a press: 40 modules of 16 keys and a display, run by the simulated driver and
// realistic PDL (a connected label, a module and a group variable, a panel-state write, lamp and
// display updates). A press goes in through IPanelEvent::sendEvent, as the driver's thread sends it;
// the latency is the time from its "EVENT " line to the first "SET_A " line after it in TimingLog.
// Reported: p50, p99 and max of that latency in microseconds, and presses per second through the
// whole cycle (until the engine is idle again, with every variable and state event it caused).

#include "pdleventmanager.h"
#include "virtualpanel.h"

#include "ihwsimulation.h"

#include "rtk/log.h"
#include "rtk/path.h"
#include "rtk/thread.h"

#include "core_idlemacrosystem.h"

#include <basekit/timinglog.h>
#include <basekit/uniqueids.h>
#include <interfaces/ihwmodulemanager.h>
#include <interfaces/ipanelevent.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace
{
int const s_modules = 40;
int const s_keys = 16;
int const s_modulesPerGroup = 4;
int const s_presses = 100000;
// Presses sent before the bench waits for the engine: a busy panel, without an unbounded queue.
int const s_batch = 500;

void writeFile(std::filesystem::path const& path, std::string const& text)
{
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
}

// A working directory with the driver library and the configuration of the bench panel.
std::filesystem::path preparePanel()
{
    char pattern[] = "/tmp/vp_bench_press_XXXXXX";
    std::filesystem::path const dir = mkdtemp(pattern);
    std::filesystem::create_directories(dir / "bin");
    std::filesystem::create_symlink(VP_BENCH_DRIVER_PATH, dir / "bin" / "libmoduledriver.so");
    std::filesystem::path const config = dir / "config";
    writeFile(config / "WidgetTypes.xml", R"(<?xml version="1.0"?>
<widgetTypes>
  <widgetType name="Key">
    <attribute name="LAMP" type="bool" default="false"/>
    <attribute name="LABEL" type="text" default=""/>
  </widgetType>
  <widgetType name="Display">
    <attribute name="TEXT" type="text" default=""/>
  </widgetType>
</widgetTypes>
)");
    std::ostringstream types;
    std::ostringstream mhl;
    types << "<?xml version=\"1.0\"?>\n<moduleTypes>\n  <moduleType name=\"Keys16\">\n";
    mhl << "<?xml version=\"1.0\"?>\n<mhl moduleType=\"Keys16\">\n";
    for (int key = 1; key <= s_keys + 1; ++key)
    {
        types << "    <widget number=\"" << key << "\" type=\"" << (key <= s_keys ? "Key" : "Display") << "\"/>\n";
        mhl << "  <widget number=\"" << key << "\"/>\n";
    }
    types << "  </moduleType>\n</moduleTypes>\n";
    mhl << "</mhl>\n";
    writeFile(config / "ModuleTypes.xml", types.str());
    writeFile(config / "MHL" / "Keys16.mhl", mhl.str());
    writeFile(config / "DelegationTypes.xml",
              "<?xml version=\"1.0\"?>\n<delegation_type_description>\n</delegation_type_description>\n");
    std::ostringstream hardware;
    hardware << "<?xml version=\"1.0\"?>\n<hardware>\n";
    for (int m = 0; m < s_modules; ++m)
    {
        hardware << "  <module port=\"" << 1 + m / s_modulesPerGroup << "\" connector=\"" << 1 + m % s_modulesPerGroup
                 << "\" workplace=\"0\" group=\"" << 1 + m / s_modulesPerGroup << "\" number=\""
                 << 1 + m % s_modulesPerGroup << "\" type=\"Keys16\"/>\n";
    }
    hardware << "</hardware>\n";
    writeFile(config / "Hardware.xml", hardware.str());

    std::ostringstream keys;
    for (int key = 1; key <= s_keys; ++key)
    {
        keys << (key > 1 ? ", " : "") << key;
    }
    writeFile(config / "PDL" / "Keys16" / "default.pdl", "@Keys { " + keys.str() + R"( }
module $selected
group $lastPress

init
  $selected := 0
  $lastPress := 0
  setstate BENCH.MODE "LIVE"
  setstate BENCH.LABEL "CAM"
end init

// A press selects its key: its lamp lights, the others go out, the group's displays show the press
// and the panel state learns of it.
widget $key <- @Keys
  connect(LABEL) BENCH.LABEL
  event (DOWN)
    $selected := $key
    $lastPress := $module_id * 100 + $key
    setstate BENCH.LAST $lastPress
  end event
  if $selected == $key then
    set(LAMP) 1
  else
    set(LAMP) 0
  end if
end widget

widget $display = 17
  set(TEXT) get BENCH.MODE append " " append $lastPress
end widget
)");
    return dir;
}

bool waitIdle(IHwSimulation* pDriver, PDLEventManager* pManager)
{
    for (long spins = 0; spins < 20000000; ++spins)
    {
        if (pDriver->isIdle() && pManager->isIdle())
        {
            return true;
        }
        std::this_thread::yield();
    }
    return false;
}

void BM_PressCycle(benchmark::State& state)
{
    if (!rtk::LogManager::hasInstance())
    {
        rtk::LogManager::createInstance();
    }
    std::filesystem::path const oldDir = std::filesystem::current_path();
    std::filesystem::path const dir = preparePanel();
    std::filesystem::current_path(dir);

    IdleMacroSystem macroSystem;
    VirtualPanel* pPanel = new VirtualPanel;
    if (!pPanel->create(VirtualPanel::eModeHardware, ""))
    {
        state.SkipWithError("create failed");
        return;
    }
    pPanel->setMacroSystemInterface(&macroSystem);
    IHwSimulation* pDriver = getInterface<IHwSimulation>(getInterface<IHwModuleManager>(pPanel));
    IPanelEvent* pEvents = getInterface<IPanelEvent>(pPanel);
    PDLEventManager* pManager = PDLEventManager::getInstance();
    bool const started = pPanel->init(false) && pDriver != nullptr;
    if (started)
    {
        pPanel->startHardwareUpdate();
    }
    pPanel->releaseMutex();
    if (!started || !waitIdle(pDriver, pManager))
    {
        state.SkipWithError("the bench panel did not start");
        pPanel->stopHardwareUpdate();
        delete pPanel;
        std::filesystem::current_path(oldDir);
        return;
    }

    std::vector<double> latencies;
    latencies.reserve(s_presses);
    double seconds = 0;
    int presses = 0;
    TimingLog::setCapacity(s_batch * 8 + 1000);
    for (auto _ : state)
    {
        auto const start = std::chrono::steady_clock::now();
        for (int sent = 0; sent < s_presses; sent += s_batch)
        {
            TimingLog::clear();
            TimingLog::setEnabled(true);
            for (int i = sent; i < sent + s_batch; ++i)
            {
                // Consecutive presses of a module take the next key, so every press changes a lamp.
                int const module = i % s_modules;
                int const key = 1 + (i / s_modules) % s_keys;
                pEvents->sendEvent(UniqueWidgetID(0, static_cast<uint16_t>(1 + module / s_modulesPerGroup),
                                                  static_cast<uint16_t>(1 + module % s_modulesPerGroup),
                                                  static_cast<uint16_t>(key)),
                                   "DOWN", 1, false);
            }
            if (!waitIdle(pDriver, pManager))
            {
                state.SkipWithError("the engine did not settle");
                break;
            }
            TimingLog::setEnabled(false);
            long long eventTime = -1;
            for (auto const& entry : TimingLog::getEntries())
            {
                if (entry.second.compare(0, 6, "EVENT ") == 0)
                {
                    eventTime = entry.first;
                }
                else if (eventTime >= 0 && entry.second.compare(0, 6, "SET_A ") == 0)
                {
                    latencies.push_back((entry.first - eventTime) / 1000.0);
                    eventTime = -1;
                }
            }
            presses += s_batch;
        }
        seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }
    TimingLog::setEnabled(false);
    TimingLog::clear();
    TimingLog::setCapacity(TimingLog::s_defaultCapacity);

    if (!latencies.empty())
    {
        std::sort(latencies.begin(), latencies.end());
        state.counters["p50_us"] = latencies[latencies.size() / 2];
        state.counters["p99_us"] = latencies[latencies.size() * 99 / 100];
        state.counters["max_us"] = latencies.back();
        state.counters["measured"] = static_cast<double>(latencies.size());
    }
    state.counters["presses_per_s"] = seconds > 0 ? presses / seconds : 0;

    pPanel->stopHardwareUpdate();
    delete pPanel;
    std::filesystem::current_path(oldDir);
    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
}
BENCHMARK(BM_PressCycle)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();
} // namespace

BENCHMARK_MAIN();
