// PDL side by side with Lua 5.4: the same logic in both languages, run in one process, reported as the
// ratio PDL time / Lua time per workload.
//
// The PDL side goes through the real loading path: each workload is a .pdl file below a temporary
// config directory, loaded by PDLModuleManager::createModule and started by initModule; its work is
// then run as the module's init section or as a widget event delivered through the module (the global
// event variables filled first), as the event engine does. The Lua side is one lua_State per workload
// whose chunk defines the same logic; the panel-state workload reaches the same PDLPanelState through
// C functions.
//
// Every workload leaves a result text on both sides; a run whose PDL result differs from the Lua one
// fails, and so does a module that does not load. The program then exits with 1 (the smoke test of the
// build relies on that, never on timing).
//
// Options besides Google Benchmark's: --workload_size=N sets the loop count of the loop workloads
// (default 1000000; the smoke run uses a small one).

#include "pdlbaseclasses.h"
#include "pdleventmanager.h"
#include "pdlinterpreter.h"
#include "pdlmodule.h"
#include "pdlmodulemanager.h"
#include "pdlpanelstate.h"
#include "pdlpersistentvarmanager.h"
#include "pdlsymboltable.h"
#include "pdltypeclasses.h"

#include "rtk/cmd.h"
#include "rtk/log.h"

#include <basekit/uniqueids.h>

#include <lua.hpp>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iomanip>
#include <iostream>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace
{
int g_workloadSize = 1000000;
bool g_failed = false;
std::ostringstream g_log;
std::filesystem::path g_directory;

// How the PDL side of a workload runs: its module's first init section, or a batch of widget events.
enum class ERunMode
{
    eInitSection,
    eWidgetEvents
};

struct Workload
{
    std::string m_name;
    ERunMode m_mode;
    std::string m_pdl;
    std::string m_lua;
    // Widget events: the event name and how many events (values 0 .. count-1) make one run.
    std::string m_eventName;
    int m_eventCount;
};

std::string replaceAll(std::string text, std::string const& from, std::string const& to)
{
    for (size_t pos = text.find(from); pos != std::string::npos; pos = text.find(from, pos + to.size()))
    {
        text.replace(pos, from.size(), to);
    }
    return text;
}

// The workloads. LOOPCOUNT in the PDL text, and the Lua local N, stand for the loop count.
std::vector<Workload> makeWorkloads()
{
    std::vector<Workload> workloads;

    workloads.push_back({"int_loop", ERunMode::eInitSection,
                         R"(module $result
init
  local $i, $s
  $i := 0
  $s := 0
  while $i < LOOPCOUNT
    $s := $s + $i % 7
    $i++
  end while
  $result := $s
end init
)",
                         R"(function run()
  local i, s = 0, 0
  while i < N do
    s = s + i % 7
    i = i + 1
  end
  return s
end
)",
                         "", 0});

    workloads.push_back({"string", ERunMode::eInitSection,
                         R"(module $result
init
  local $i, $k, $t, $n, $m
  $i := 0
  $n := 0
  $m := 0
  $t := ""
  while $i < LOOPCOUNT
    $k := "item" append $i % 100
    if $k = "item42" then
      $n++
    end if
    if strcmp($k, "item50") < 0 then
      $m++
    end if
    $t := $t append $i % 10
    if strlen $t > 40 then
      $t := $t cutleft 30
    end if
    $i++
  end while
  $result := $n append "," append $m append "," append $t
end init
)",
                         R"(function run()
  local i, n, m, t = 0, 0, 0, ""
  while i < N do
    local k = "item" .. (i % 100)
    if k == "item42" then
      n = n + 1
    end
    if k < "item50" then
      m = m + 1
    end
    t = t .. (i % 10)
    if #t > 40 then
      t = string.sub(t, 31)
    end
    i = i + 1
  end
  return n .. "," .. m .. "," .. t
end
)",
                         "", 0});

    workloads.push_back({"array_set", ERunMode::eInitSection,
                         R"(module $result, $arr[], &seen
init
  local $i, $v, $hits, $sum
  &seen := {}
  $i := 0
  $hits := 0
  while $i < LOOPCOUNT
    &seen add $i % 50
    $arr[$i % 64] := $i
    if $i % 7 in &seen then
      $hits++
    end if
    $i++
  end while
  $sum := 0
  foreach $v in &seen
    $sum := $sum + $v
  end foreach
  foreach $v in $arr[]
    $sum := $sum + $v
  end foreach
  $result := $hits append "," append $sum
end init
)",
                         R"(local arr = {}
function run()
  local seen = {}
  local i, hits = 0, 0
  while i < N do
    seen[i % 50] = true
    arr[i % 64] = i
    if seen[i % 7] then
      hits = hits + 1
    end
    i = i + 1
  end
  local sum = 0
  for v in pairs(seen) do
    sum = sum + v
  end
  for _, v in pairs(arr) do
    sum = sum + v
  end
  return hits .. "," .. sum
end
)",
                         "", 0});

    workloads.push_back({"function_call", ERunMode::eWidgetEvents,
                         R"(module $result
function accumulate($x, ref $sum)
  $sum := $sum + $x % 7
end function

widget $w = 1
  local $i, $s
  event (DOWN)
    $i := 0
    $s := 0
    while $i < LOOPCOUNT
      accumulate($i, $s)
      $i++
    end while
    $result := $s
  end event
end widget
)",
                         R"(local function accumulate(x, sum)
  return sum + x % 7
end
local result
local handlers = {}
handlers[1] = function(name, value)
  if name == "DOWN" then
    local i, s = 0, 0
    while i < N do
      s = accumulate(i, s)
      i = i + 1
    end
    result = s
  end
end
function event(id, name, value)
  handlers[id](name, value)
end
function run()
  return result
end
)",
                         "DOWN", 1});

    // One run is a fader moved through 100 positions: each event writes the level, reads it back,
    // sets a lamp and a text from it. The event with value 0 restarts the sum.
    workloads.push_back({"widget_state", ERunMode::eWidgetEvents,
                         R"(module $result, $sum
widget $fader = 1
  event (MOVE)
    if $event_value = 0 then
      $sum := 0
    end if
    setstate BENCH.PDL.LEVEL $event_value
    $sum := $sum + get BENCH.PDL.LEVEL
    if get BENCH.PDL.LEVEL > 50 then
      setstate BENCH.PDL.LAMP "high"
    else
      setstate BENCH.PDL.LAMP "low"
    end if
    setstate BENCH.PDL.TEXT "L" append $event_value append "/" append $sum
    $result := get BENCH.PDL.LAMP append ":" append get BENCH.PDL.TEXT
  end event
end widget
)",
                         R"(local result, sum
local handlers = {}
handlers[1] = function(name, value)
  if name == "MOVE" then
    if value == 0 then
      sum = 0
    end
    setstate("BENCH.LUA.LEVEL", value)
    sum = sum + get("BENCH.LUA.LEVEL")
    if get("BENCH.LUA.LEVEL") > 50 then
      setstate("BENCH.LUA.LAMP", "high")
    else
      setstate("BENCH.LUA.LAMP", "low")
    end
    setstate("BENCH.LUA.TEXT", "L" .. value .. "/" .. sum)
    result = get("BENCH.LUA.LAMP") .. ":" .. get("BENCH.LUA.TEXT")
  end
end
function event(id, name, value)
  handlers[id](name, value)
end
function run()
  return result
end
)",
                         "MOVE", 100});
    return workloads;
}

// ---------------------------------------------------------------------------------------------------
// The panel state as Lua sees it: get(fid) and setstate(fid, value) over PDLPanelState, as the PDL
// commands use it.

PDLVariant toVariant(lua_State* pLua, int index)
{
    switch (lua_type(pLua, index))
    {
    case LUA_TBOOLEAN:
        return PDLVariant(lua_toboolean(pLua, index) != 0);
    case LUA_TNUMBER:
        if (lua_isinteger(pLua, index))
        {
            return PDLVariant(static_cast<int>(lua_tointeger(pLua, index)));
        }
        return PDLVariant(static_cast<float>(lua_tonumber(pLua, index)));
    case LUA_TSTRING:
        return PDLVariant(std::string(lua_tostring(pLua, index)));
    default:
        return PDLVariant();
    }
}

void pushVariant(lua_State* pLua, PDLVariant const& value)
{
    switch (value.getKind())
    {
    case PDLVariant::eBool:
        lua_pushboolean(pLua, value.getBool() ? 1 : 0);
        break;
    case PDLVariant::eInt:
        lua_pushinteger(pLua, value.getInt());
        break;
    case PDLVariant::eFloat:
        lua_pushnumber(pLua, value.getFloat());
        break;
    case PDLVariant::eString:
        lua_pushstring(pLua, value.getString().c_str());
        break;
    default:
        lua_pushnil(pLua);
        break;
    }
}

int luaGet(lua_State* pLua)
{
    pushVariant(pLua, PDLPanelState::getInstance()->getValue(luaL_checkstring(pLua, 1), false));
    return 1;
}

int luaSetState(lua_State* pLua)
{
    PDLPanelState::getInstance()->setValue(luaL_checkstring(pLua, 1), toVariant(pLua, 2));
    return 0;
}

// ---------------------------------------------------------------------------------------------------
// One workload, both sides.

class Runner
{
public:
    Runner(Workload const& workload, int moduleNumber)
        : m_workload(workload), m_moduleID(1, 1, static_cast<uint16_t>(moduleNumber))
    {
    }

    ~Runner()
    {
        if (m_pLua != nullptr)
        {
            lua_close(m_pLua);
        }
    }

    // Loads both sides; false with a message when either fails.
    bool prepare(std::string& error)
    {
        std::string const size = std::to_string(g_workloadSize);
        std::string const fileName = "PDL/" + m_workload.m_name + ".pdl";
        std::ofstream(g_directory / "config" / fileName) << replaceAll(m_workload.m_pdl, "LOOPCOUNT", size);

        PDLModuleManager* pManager = PDLModuleManager::getInstance();
        rtk::Path const base((g_directory / "config").string());
        if (!pManager->createModule(m_moduleID, 0, 0, base, fileName, ""))
        {
            error = "the PDL module " + fileName + " did not load";
            return false;
        }
        pManager->initModule(m_moduleID);
        m_pModule = pManager->getModule(m_moduleID);
        m_pResult = m_pModule != nullptr ? m_pModule->getSymbolTable()->getVariable("result") : nullptr;
        if (m_pResult == nullptr)
        {
            error = "the PDL module " + fileName + " has no $result";
            return false;
        }
        if (m_workload.m_mode == ERunMode::eInitSection && m_pModule->getInitSections().empty())
        {
            error = "the PDL module " + fileName + " has no init section";
            return false;
        }

        m_pLua = luaL_newstate();
        luaL_openlibs(m_pLua);
        lua_register(m_pLua, "get", luaGet);
        lua_register(m_pLua, "setstate", luaSetState);
        std::string const chunk = "local N = " + size + "\n" + m_workload.m_lua;
        if (luaL_dostring(m_pLua, chunk.c_str()) != LUA_OK)
        {
            error = std::string("the Lua chunk failed: ") + lua_tostring(m_pLua, -1);
            return false;
        }
        return true;
    }

    void runPDL()
    {
        PDLInterpreter::mutexTake();
        if (m_workload.m_mode == ERunMode::eInitSection)
        {
            m_pModule->getInitSections().front()->execute();
        }
        else
        {
            PDLGlobal* pGlobal = PDLModuleManager::getInstance()->getGlobal();
            PDLEvent event(PDLEvent::eEventWidget);
            event.m_widgetID = 1;
            event.m_name = m_workload.m_eventName;
            for (int value = 0; value < m_workload.m_eventCount; ++value)
            {
                event.m_intValue = value;
                pGlobal->setEvent(&event);
                m_pModule->executeEvent(&event);
            }
        }
        PDLInterpreter::mutexGive();
    }

    std::string resultPDL() const { return m_pResult->getValue("", false).getString(); }

    // Runs the Lua side once; false when Lua raised an error.
    bool runLua()
    {
        if (m_workload.m_mode == ERunMode::eInitSection)
        {
            lua_getglobal(m_pLua, "run");
            if (lua_pcall(m_pLua, 0, 1, 0) != LUA_OK)
            {
                return false;
            }
            m_luaResult = luaL_tolstring(m_pLua, -1, nullptr);
            lua_pop(m_pLua, 2);
            return true;
        }
        for (int value = 0; value < m_workload.m_eventCount; ++value)
        {
            lua_getglobal(m_pLua, "event");
            lua_pushinteger(m_pLua, 1);
            lua_pushstring(m_pLua, m_workload.m_eventName.c_str());
            lua_pushinteger(m_pLua, value);
            if (lua_pcall(m_pLua, 3, 0, 0) != LUA_OK)
            {
                return false;
            }
        }
        lua_getglobal(m_pLua, "run");
        if (lua_pcall(m_pLua, 0, 1, 0) != LUA_OK)
        {
            return false;
        }
        m_luaResult = luaL_tolstring(m_pLua, -1, nullptr);
        lua_pop(m_pLua, 2);
        return true;
    }

    std::string const& resultLua() const { return m_luaResult; }
    std::string luaError() const { return lua_tostring(m_pLua, -1); }
    Workload const& getWorkload() const { return m_workload; }

private:
    Workload m_workload;
    UniqueModuleID m_moduleID;
    PDLModule* m_pModule = nullptr;
    PDLVariable* m_pResult = nullptr;
    lua_State* m_pLua = nullptr;
    std::string m_luaResult;
};

std::vector<std::unique_ptr<Runner>> g_runners;

// The expected result of a workload: the Lua side's, computed once.
bool checkAgainstLua(Runner& runner, benchmark::State& state)
{
    if (!runner.runLua())
    {
        state.SkipWithError(("Lua failed: " + runner.luaError()).c_str());
        g_failed = true;
        return false;
    }
    if (runner.resultPDL() != runner.resultLua())
    {
        std::string const text = runner.getWorkload().m_name + ": PDL gave \"" + runner.resultPDL() +
                                 "\", Lua gave \"" + runner.resultLua() + "\"";
        std::cerr << text << std::endl;
        state.SkipWithError(text.c_str());
        g_failed = true;
        return false;
    }
    return true;
}

void BM_PDL(benchmark::State& state, Runner* pRunner)
{
    for (auto _ : state)
    {
        pRunner->runPDL();
    }
    checkAgainstLua(*pRunner, state);
}

void BM_Lua(benchmark::State& state, Runner* pRunner)
{
    for (auto _ : state)
    {
        if (!pRunner->runLua())
        {
            state.SkipWithError(("Lua failed: " + pRunner->luaError()).c_str());
            g_failed = true;
            break;
        }
    }
    // The PDL side has run before (at least once by its module's start): compare once more.
    pRunner->runPDL();
    checkAgainstLua(*pRunner, state);
}

// Collects the CPU time per run name for the summary table, and still prints the usual lines.
class RatioReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(std::vector<Run> const& reports) override
    {
        // With repetitions the median stands for the workload; without, the one run.
        for (Run const& run : reports)
        {
            if (run.error_occurred)
            {
                continue;
            }
            std::string const name = run.run_name.function_name;
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median")
            {
                m_times[name] = run.GetAdjustedCPUTime();
                m_median.insert(name);
            }
            else if (run.run_type == Run::RT_Iteration && m_median.count(name) == 0)
            {
                m_times[name] = run.GetAdjustedCPUTime();
            }
        }
        ConsoleReporter::ReportRuns(reports);
    }

    void printSummary(std::ostream& out) const
    {
        out << "\nPDL / Lua 5.4, CPU time per run (workload size " << g_workloadSize << ")\n";
        out << std::left << std::setw(16) << "workload" << std::right << std::setw(16) << "PDL"
            << std::setw(16) << "Lua" << std::setw(10) << "ratio"
            << "\n";
        for (auto const& pRunner : g_runners)
        {
            std::string const& name = pRunner->getWorkload().m_name;
            auto const pdl = m_times.find("PDL/" + name);
            auto const lua = m_times.find("Lua/" + name);
            if (pdl == m_times.end() || lua == m_times.end() || lua->second <= 0.0)
            {
                continue;
            }
            out << std::left << std::setw(16) << name << std::right << std::fixed << std::setprecision(1)
                << std::setw(13) << pdl->second << " us" << std::setw(13) << lua->second << " us"
                << std::setw(10) << std::setprecision(2) << pdl->second / lua->second << "\n";
        }
    }

private:
    std::map<std::string, double> m_times;
    std::set<std::string> m_median;
};

void setUp()
{
    rtk::LogManager::createInstance();
    // Load messages and reports go to a string, not to the terminal.
    rtk::LogManager::setSink(&g_log);
    PDLInterpreter::s_logLevel = 2;
    PDLPanelState::createInstance();
    PDLModuleManager::createInstance();

    char pattern[] = "/tmp/vp_bench_pdl_lua_XXXXXX";
    if (mkdtemp(pattern) == nullptr)
    {
        std::perror("mkdtemp");
        std::exit(2);
    }
    g_directory = pattern;
    std::filesystem::create_directories(g_directory / "config" / "PDL");
}

void tearDown()
{
    g_runners.clear();
    PDLModuleManager::destroyInstance();
    PDLPanelState::destroyInstance();
    rtk::LogManager::setSink(nullptr);
    std::error_code ignored;
    std::filesystem::remove_all(g_directory, ignored);
}
} // namespace

int main(int argc, char** argv)
{
    std::vector<char*> args;
    for (int i = 0; i < argc; ++i)
    {
        char const* const pOption = "--workload_size=";
        if (std::strncmp(argv[i], pOption, std::strlen(pOption)) == 0)
        {
            g_workloadSize = std::atoi(argv[i] + std::strlen(pOption));
            continue;
        }
        args.push_back(argv[i]);
    }
    int count = static_cast<int>(args.size());
    benchmark::Initialize(&count, args.data());
    if (benchmark::ReportUnrecognizedArguments(count, args.data()))
    {
        return 2;
    }
    if (g_workloadSize < 1)
    {
        std::cerr << "--workload_size must be at least 1" << std::endl;
        return 2;
    }

    setUp();
    int moduleNumber = 1;
    for (Workload const& workload : makeWorkloads())
    {
        auto pRunner = std::make_unique<Runner>(workload, moduleNumber++);
        std::string error;
        if (!pRunner->prepare(error))
        {
            std::cerr << workload.m_name << ": " << error << "\n" << g_log.str() << std::endl;
            tearDown();
            return 1;
        }
        Runner* pRaw = pRunner.get();
        benchmark::RegisterBenchmark(("PDL/" + workload.m_name).c_str(), BM_PDL, pRaw)
            ->Unit(benchmark::kMicrosecond);
        benchmark::RegisterBenchmark(("Lua/" + workload.m_name).c_str(), BM_Lua, pRaw)
            ->Unit(benchmark::kMicrosecond);
        g_runners.push_back(std::move(pRunner));
    }

    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printSummary(std::cout);
    benchmark::Shutdown();
    tearDown();
    if (g_failed)
    {
        std::cerr << "a workload failed: see above" << std::endl;
        return 1;
    }
    return 0;
}
