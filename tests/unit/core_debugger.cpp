// The debugger's rendezvous with a thread that runs PDL: step, continue and the releases that keep a
// held stop from blocking the shell, a module's removal or the end of the panel.

#include "core_pdlfixture.h"

#include "pdldebugger.h"
#include "pdlinterpreter.h"

#include "rtk/cmd.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>

namespace
{
// A command that counts its runs.
class CountingCommand : public PDLCommand
{
public:
    explicit CountingCommand(int line) : PDLCommand(false)
    {
        m_filePath = rtk::Path("dbg.pdl");
        m_line = line;
    }
    std::atomic<int> m_runs{0};

protected:
    bool onExecute() override
    {
        ++m_runs;
        return true;
    }
};

class DebuggerTest : public PDLTest
{
protected:
    void TearDown() override
    {
        if (m_thread.joinable())
        {
            // A test that failed may leave its thread held: let it go rather than hang.
            PDLDebugger::suspendStops();
            PDLDebugger::s_breakpoint.give();
            m_thread.join();
            PDLDebugger::resumeStops();
            PDLDebugger::s_breakpoint.take(0);
            PDLDebugger::s_breakpoint.give();
        }
        PDLTest::TearDown();
    }

    // Runs work on a thread of its own, as the main loop would.
    void runAside(std::function<void()> work) { m_thread = std::thread(std::move(work)); }
    void joinAside() { m_thread.join(); }

    // Waits until a thread is held at a breakpoint (false after 5 s).
    static bool waitHeld()
    {
        for (int i = 0; i < 5000 && !PDLDebugger::isStopped(); ++i)
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return PDLDebugger::isStopped();
    }

    bool shell(std::string const& line) { return rtk::CmdProcessor::getInstance()->execute(line); }

public:
    // Shell commands of the test: one takes the interpreter mutex, one runs m_pCommand.
    bool grabMutex(rtk::CmdParameters&)
    {
        PDLInterpreter::mutexTake();
        PDLInterpreter::mutexGive();
        return true;
    }
    bool runCode(rtk::CmdParameters&) { return m_pCommand->execute(); }

protected:
    std::unique_ptr<PDLDebugger> m_pDebugger;
    std::thread m_thread;
    PDLCommand* m_pCommand = nullptr;
    // What the aside thread uses lives as long as the fixture, which joins that thread first.
    CountingCommand m_first{10};
    CountingCommand m_second{11};
    CountingCommand m_third{12};
    CountingCommand m_command{7};
};

TEST_F(DebuggerTest, StepHoldsAtEveryCommandAndContinueRunsOn)
{
    m_pDebugger.reset(new PDLDebugger);
    CountingCommand& first = m_first;
    CountingCommand& second = m_second;
    CountingCommand& third = m_third;
    first.setBreakpoint(true);
    CoutCapture out;
    EXPECT_TRUE(shell("step"));
    EXPECT_TRUE(shell("continue"));
    runAside(
        [&]
        {
            first.execute();
            second.execute();
            third.execute();
        });
    ASSERT_TRUE(waitHeld());
    EXPECT_EQ(0, first.m_runs.load());
    shell("step");
    ASSERT_TRUE(waitHeld());
    EXPECT_EQ(1, first.m_runs.load());
    EXPECT_EQ(0, second.m_runs.load());
    shell("continue");
    joinAside();
    EXPECT_EQ(1, third.m_runs.load());
    EXPECT_FALSE(PDLDebugger::s_singleStep.load());
    EXPECT_EQ("no active breakpoint found\n"
              "no active breakpoint found\n"
              "breakpoint hit at dbg.pdl line 10\n"
              "breakpoint hit at dbg.pdl line 11\n",
              out.text());
    // The stop signal stands again, as between stops.
    EXPECT_TRUE(PDLDebugger::s_breakpoint.isSignalled());
}

TEST_F(DebuggerTest, ReleasesLetAHeldThreadGoAndNothingStopsUntilResumed)
{
    m_pDebugger.reset(new PDLDebugger);
    CountingCommand& command = m_command;
    command.setBreakpoint(true);
    CoutCapture out;

    // A removal of a module: the held thread goes on, and stops are off until resumed.
    runAside([&] { command.execute(); });
    ASSERT_TRUE(waitHeld());
    PDLDebugger::suspendStops();
    joinAside();
    command.execute();
    EXPECT_EQ(2, command.m_runs.load());
    PDLDebugger::resumeStops();

    // The shell needs the interpreter mutex that the held thread keeps: taking it lets the stop go.
    DebuggerTest* pFixture = this;
    rtk::CmdProcessor::getInstance()->registerCmd("testGrabMutex", "", pFixture, &DebuggerTest::grabMutex);
    runAside(
        [&]
        {
            PDLInterpreter::mutexTake();
            command.execute();
            PDLInterpreter::mutexGive();
        });
    ASSERT_TRUE(waitHeld());
    EXPECT_TRUE(shell("testGrabMutex"));
    joinAside();
    EXPECT_EQ(3, command.m_runs.load());

    // The shell's own thread is never held: code run by a command passes its breakpoint.
    m_pCommand = &command;
    rtk::CmdProcessor::getInstance()->registerCmd("testRunCode", "", pFixture, &DebuggerTest::runCode);
    EXPECT_TRUE(shell("testRunCode"));
    EXPECT_EQ(4, command.m_runs.load());

    // The end of the panel releases for good.
    runAside([&] { command.execute(); });
    ASSERT_TRUE(waitHeld());
    PDLDebugger::shutdown();
    joinAside();
    command.execute();
    EXPECT_EQ(6, command.m_runs.load());
    rtk::CmdProcessor::getInstance()->unregisterOwner(pFixture);

    EXPECT_EQ("breakpoint hit at dbg.pdl line 7\n"
              "breakpoint released\n"
              "breakpoint hit at dbg.pdl line 7\n"
              "breakpoint released\n"
              "breakpoint hit at dbg.pdl line 7\n"
              "breakpoint not held: the shell's own command runs this code\n"
              "breakpoint hit at dbg.pdl line 7\n"
              "breakpoint released\n",
              out.text());
}
} // namespace
