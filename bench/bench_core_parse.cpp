// Source lines per second through the PDL front end: a generated module of about 10000 lines is
// scanned and parsed into a fresh module, then its code is bound to its contexts (the init-time
// setContext walk: init sections, widget code and function bodies).
//
// BM_LoadedBytesPerLine: resident memory that a loaded module keeps, per statement line. A module of
// 200000 lines of "$x := $x + 1" is loaded through PDLModule::load; the counter bytes_per_line is the
// resident set after the load minus the one before it, divided by the lines.

#include "pdlbaseclasses.h"
#include "pdlcommandclasses.h"
#include "pdlfunctionclasses.h"
#include "pdlmodule.h"
#include "pdlparser.h"
#include "pdlscanner.h"
#include "pdlsymboltable.h"
#include "pdlwidgetclasses.h"

#include "rtk/log.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <malloc.h>
#include <memory>
#include <sstream>
#include <string>
#include <unistd.h>

namespace
{
class BenchScope : public PDLContext
{
public:
    BenchScope(PDLContext* pParent, EScope scope)
        : PDLContext(pParent, UniqueModuleID(1, 2, 3)), m_scope(scope)
    {
    }
    EScope getScope() const override { return m_scope; }

private:
    EScope m_scope;
};

// A module of typical constructs: types and declarations, then functions, widgets and init sections
// whose statements stand one a line, until the module reaches the wanted number of lines.
std::string generateModule(int wantedLines, int& lines)
{
    std::ostringstream out;
    lines = 0;
    auto line = [&](std::string const& text)
    {
        out << text << '\n';
        ++lines;
    };
    line("@Mode { \"off\", \"on\", \"blink\" }");
    line("@Keys (fid, label) { 1 (panel.key.one, \"one\"), 2 (panel.key.two, \"two\") }");
    line("module @Mode $mode, $count, $text, $table[], &seen");
    line("module $tmp, $arg, $res, $pressed");
    line("module @Keys $key");
    line("group $shared noevents");
    for (int block = 0; lines < wantedLines; ++block)
    {
        std::string const n = std::to_string(block);
        switch (block % 3)
        {
        case 0:
            line("function calc" + n + "()");
            line("  $tmp := $arg * 2 + " + n + " % 7");
            line("  if $tmp > 10 and not $tmp == 12 then");
            line("    $res := $tmp - 1");
            line("  elsif $tmp <= 3 or $arg = \"x\" then");
            line("    $res := strlen $text + 1");
            line("  else");
            line("    $res := \"v\" append $tmp");
            line("  end if");
            line("  while $tmp > 0");
            line("    $tmp--");
            line("    $table[$tmp] := $(key.label) append $tmp");
            line("  end while");
            line("end function");
            break;
        case 1:
            line("widget $w" + n + " = " + std::to_string(block + 1));
            line("  event (press, panel.key.k" + n + ")");
            line("    $pressed++");
            line("    set(colour) \"red\"");
            line("    connect(value) panel.level.$w" + n);
            line("    calc" + std::to_string(block - 1) + "()");
            line("    if $pressed in &seen then");
            line("      &seen add $pressed getleft 2");
            line("    end if");
            line("  end event");
            line("  $text := $mode append \"-\" append $count");
            line("end widget");
            break;
        default:
            line("init");
            line("  local $i");
            line("  $count := 0");
            line("  $mode := \"off\"");
            line("  &seen := {1, 2, 3}");
            line("  foreach $i in &seen");
            line("    println \"start \", $count, \" \", $i");
            line("  end foreach");
            line("  call host.report(name = \"m" + n + "\" value = $count + 1)");
            line("end init");
            break;
        }
    }
    return out.str();
}

void BM_ParseAndBindModule(benchmark::State& state)
{
    if (!rtk::LogManager::hasInstance())
    {
        rtk::LogManager::createInstance();
    }
    int lines = 0;
    std::string const text = generateModule(static_cast<int>(state.range(0)), lines);
    std::filesystem::path const path = std::filesystem::temp_directory_path() / "vp_bench_parse.pdl";
    std::ofstream(path, std::ios::binary) << text;

    for (auto _ : state)
    {
        BenchScope global(nullptr, eScopeGlobal);
        BenchScope workplace(&global, eScopeWorkplace);
        BenchScope group(&workplace, eScopeGroup);
        std::unique_ptr<PDLModule> pModule(
            new PDLModule(&group, UniqueModuleID(1, 2, 3), 0, 0, nullptr, "bench"));
        g_pCurrentModule = pModule.get();
        PDLParseInfo::m_errorCount = 0;
        flag_stack.clear();
        allow_flags = 0;

        flushLex();
        FILE* pFile = std::fopen(path.c_str(), "rb");
        yyin = pFile;
        g_lexFilePath = rtk::Path(path.string());
        yylineno = 1;
        int const result = yyparse();
        flushLex();
        std::fclose(pFile);
        yyin = nullptr;

        for (PDLInitSection* pSection : pModule->getInitSections())
        {
            pSection->init();
        }
        for (PDLWidget* pWidget : pModule->getWidgets())
        {
            if (pWidget->getWidgetCode() != nullptr)
            {
                pWidget->getWidgetCode()->setContext(pWidget, false);
            }
        }
        for (auto const& entry : pModule->getFunctions())
        {
            entry.second->init();
        }
        if (result != 0 || PDLParseInfo::m_errorCount != 0)
        {
            state.SkipWithError("the generated module did not parse and bind cleanly");
            break;
        }
        g_pCurrentModule = nullptr;
        pModule.reset();
    }
    g_pCurrentModule = nullptr;
    state.SetItemsProcessed(state.iterations() * lines);
    state.counters["lines"] = lines;
    std::filesystem::remove(path);
}
BENCHMARK(BM_ParseAndBindModule)->Arg(10000)->Unit(benchmark::kMillisecond);

// The resident set of the process in bytes, from /proc/self/statm.
long residentBytes()
{
    std::ifstream statm("/proc/self/statm");
    long pages = 0;
    long resident = 0;
    statm >> pages >> resident;
    return resident * sysconf(_SC_PAGESIZE);
}

void BM_LoadedBytesPerLine(benchmark::State& state)
{
    if (!rtk::LogManager::hasInstance())
    {
        rtk::LogManager::createInstance();
    }
    int const lines = static_cast<int>(state.range(0));
    std::filesystem::path const directory = std::filesystem::temp_directory_path() / "vp_bench_memory";
    std::filesystem::create_directories(directory);
    {
        std::ofstream out(directory / "statements.pdl", std::ios::binary);
        out << "module $x\ninit\n";
        for (int i = 0; i < lines; ++i)
        {
            out << "  $x := $x + 1\n";
        }
        out << "end init\n";
    }
    std::ostringstream log;
    rtk::LogManager::setSink(&log);

    double bytesPerLine = 0.0;
    for (auto _ : state)
    {
        BenchScope global(nullptr, eScopeGlobal);
        BenchScope workplace(&global, eScopeWorkplace);
        BenchScope group(&workplace, eScopeGroup);
        // Freed memory of earlier runs goes back to the system first, so that the load cannot hide in it.
        malloc_trim(0);
        long const before = residentBytes();
        std::unique_ptr<PDLModule> pModule(
            new PDLModule(&group, UniqueModuleID(1, 2, 3), 0, 0, nullptr, "mem"));
        bool const loaded = pModule->load(rtk::Path(directory.string()), "statements.pdl");
        long const after = residentBytes();
        if (!loaded)
        {
            state.SkipWithError("the generated module did not load");
            break;
        }
        bytesPerLine = static_cast<double>(after - before) / lines;
        pModule.reset();
        g_pCurrentModule = nullptr;
    }
    rtk::LogManager::setSink(nullptr);
    state.counters["lines"] = lines;
    state.counters["bytes_per_line"] = bytesPerLine;
    std::filesystem::remove_all(directory);
}
BENCHMARK(BM_LoadedBytesPerLine)->Arg(200000)->Unit(benchmark::kMillisecond)->Iterations(3);
} // namespace

BENCHMARK_MAIN();
