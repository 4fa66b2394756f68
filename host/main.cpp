// panelhost: loads the core, starts it in the system's start order with the host's interfaces, and
// runs the shell until quit, end of input, SIGINT or SIGTERM.
// Exit status: 0 after a normal stop, 2 for bad options, 3 when the panel could not start (the driver
// library or the configuration failed).

#include "hostinterfaces.h"
#include "hostmacrosystem.h"
#include "hostshell.h"

#include "virtualpanel.h"

#include "rclp/rclplistener.h"
#include "rtk/cmd.h"
#include "rtk/log.h"
#include "rtk/path.h"

#include <basekit/srammanager.h>
#include <interfaces/ipanelevent.h>
#include <logkit/logging.h>

#include <editline/readline.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <poll.h>
#include <string>
#include <unistd.h>

namespace
{
struct Options
{
    std::string m_workdir;
    VirtualPanel::EMode m_mode = VirtualPanel::eModeHardware;
    std::string m_simulatorAddress;
    std::string m_workplaces;
    std::string m_moduleOverride;
    bool m_testMode = false;
    bool m_exitOnLoadFailure = false;
    bool m_rclp = false;
    std::string m_rclpAddress; // --rclp-listen: empty keeps the core's address and port
    int m_rclpPort = -1;
    std::string m_logFile;
    int m_logLevel = 0;
    std::string m_script;
    std::string m_sramDirectory;
};

// Written by the signal handler, read by the input loop.
int g_signalPipe[2] = {-1, -1};
volatile sig_atomic_t g_signalled = 0;
// A VirtualPanel whose create failed must not be destroyed; it stays reachable here until the end.
VirtualPanel* g_pPanel = nullptr;

void onSignal(int)
{
    g_signalled = 1;
    char const byte = 's';
    ssize_t const written = write(g_signalPipe[1], &byte, 1);
    (void)written;
}

void usage()
{
    std::cerr
        << "Usage: panelhost [--workdir DIR] [--mode hardware|simulator|flagged] [--simulator ADDRESS]\n"
           "                 [--workplaces FILE] [--test-mode] [--module-override FILE]\n"
           "                 [--exit-on-load-failure] [--rclp] [--rclp-listen ADDRESS:PORT]\n"
           "                 [--log FILE] [--log-level N] [--script FILE] [--sram-dir DIR]"
        << std::endl;
}

bool parseOptions(int argc, char** argv, Options& options)
{
    for (int i = 1; i < argc; ++i)
    {
        std::string const option = argv[i];
        auto value = [&](std::string& target) -> bool
        {
            if (i + 1 >= argc)
            {
                std::cerr << "panelhost: " << option << " needs a value" << std::endl;
                return false;
            }
            target = argv[++i];
            return true;
        };
        std::string text;
        if (option == "--workdir")
        {
            if (!value(options.m_workdir))
                return false;
        }
        else if (option == "--mode")
        {
            if (!value(text))
                return false;
            if (text == "hardware")
                options.m_mode = VirtualPanel::eModeHardware;
            else if (text == "simulator")
                options.m_mode = VirtualPanel::eModeSimulator;
            else if (text == "flagged")
                options.m_mode = VirtualPanel::eModeHardwareFlagged;
            else
            {
                std::cerr << "panelhost: unknown mode \"" << text << "\"" << std::endl;
                return false;
            }
        }
        else if (option == "--simulator")
        {
            if (!value(options.m_simulatorAddress))
                return false;
        }
        else if (option == "--workplaces")
        {
            if (!value(options.m_workplaces))
                return false;
        }
        else if (option == "--module-override")
        {
            if (!value(options.m_moduleOverride))
                return false;
        }
        else if (option == "--test-mode")
            options.m_testMode = true;
        else if (option == "--exit-on-load-failure")
            options.m_exitOnLoadFailure = true;
        else if (option == "--rclp")
            options.m_rclp = true;
        else if (option == "--rclp-listen")
        {
            // For tests: another address and port than the fixed ones (port 0: any free port).
            if (!value(text))
                return false;
            size_t const colon = text.rfind(':');
            char* pEnd = nullptr;
            long const port = colon == std::string::npos ? -1 : std::strtol(text.c_str() + colon + 1, &pEnd, 10);
            if (colon == std::string::npos || colon == 0 || colon + 1 == text.size() || *pEnd != '\0' ||
                port < 0 || port > 65535)
            {
                std::cerr << "panelhost: bad listen address \"" << text << "\", expected ADDRESS:PORT" << std::endl;
                return false;
            }
            options.m_rclp = true;
            options.m_rclpAddress = text.substr(0, colon);
            options.m_rclpPort = static_cast<int>(port);
        }
        else if (option == "--log")
        {
            if (!value(options.m_logFile))
                return false;
        }
        else if (option == "--log-level")
        {
            if (!value(text))
                return false;
            char* pEnd = nullptr;
            long const level = std::strtol(text.c_str(), &pEnd, 10);
            if (text.empty() || *pEnd != '\0' || level < 1 || level > 7)
            {
                std::cerr << "panelhost: --log-level needs a number from 1 to 7" << std::endl;
                return false;
            }
            options.m_logLevel = static_cast<int>(level);
        }
        else if (option == "--script")
        {
            if (!value(options.m_script))
                return false;
        }
        else if (option == "--sram-dir")
        {
            if (!value(options.m_sramDirectory))
                return false;
        }
        else
        {
            std::cerr << "panelhost: unknown option \"" << option << "\"" << std::endl;
            return false;
        }
    }
    return true;
}

// Reads whole lines from a descriptor, waking also for a signal.
class LineReader
{
public:
    explicit LineReader(int fd) : m_fd(fd) {}

    // False at the end of input or on a signal.
    bool read(std::string& line)
    {
        for (;;)
        {
            size_t const end = m_buffer.find('\n');
            if (end != std::string::npos)
            {
                line = m_buffer.substr(0, end);
                m_buffer.erase(0, end + 1);
                return true;
            }
            if (m_eof)
            {
                if (m_buffer.empty())
                    return false;
                line.swap(m_buffer);
                m_buffer.clear();
                return true;
            }
            pollfd fds[2] = {{m_fd, POLLIN, 0}, {g_signalPipe[0], POLLIN, 0}};
            if (poll(fds, 2, -1) < 0 && errno != EINTR)
                return false;
            if (g_signalled)
                return false;
            if ((fds[0].revents & (POLLIN | POLLHUP | POLLERR)) == 0)
                continue;
            char chunk[4096];
            ssize_t const count = ::read(m_fd, chunk, sizeof(chunk));
            if (count < 0 && errno == EINTR)
                continue;
            if (count <= 0)
                m_eof = true;
            else
                m_buffer.append(chunk, static_cast<size_t>(count));
        }
    }

private:
    int m_fd;
    std::string m_buffer;
    bool m_eof = false;
};

// A command line worth running: not blank, not a "#" comment.
bool isCommand(std::string const& line)
{
    size_t const first = line.find_first_not_of(" \t\r");
    return first != std::string::npos && line[first] != '#';
}

// Plain lines from a file or a pipe; every command waits for an idle engine first, so that what it
// prints does not depend on timing.
void runPlain(int fd, HostShell& shell)
{
    LineReader reader(fd);
    std::string line;
    while (!shell.isQuitRequested() && reader.read(line))
    {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        if (!isCommand(line))
            continue;
        shell.waitIdle();
        rtk::CmdProcessor::getInstance()->execute(line);
        std::cout.flush();
    }
    if (!g_signalled)
        shell.waitIdle();
}

std::string* g_pInteractiveLine = nullptr;
bool g_interactiveEnd = false;
bool g_interactiveHaveLine = false;

void onInteractiveLine(char* pLine)
{
    if (pLine == nullptr)
    {
        g_interactiveEnd = true;
        return;
    }
    *g_pInteractiveLine = pLine;
    g_interactiveHaveLine = true;
    std::free(pLine);
}

// Line editing with history on a terminal.
void runInteractive(HostShell& shell)
{
    std::string line;
    g_pInteractiveLine = &line;
    rl_callback_handler_install("panel> ", onInteractiveLine);
    while (!shell.isQuitRequested() && !g_interactiveEnd && !g_signalled)
    {
        pollfd fds[2] = {{STDIN_FILENO, POLLIN, 0}, {g_signalPipe[0], POLLIN, 0}};
        if (poll(fds, 2, -1) < 0 && errno != EINTR)
            break;
        if (g_signalled)
            break;
        if ((fds[0].revents & (POLLIN | POLLHUP | POLLERR)) == 0)
            continue;
        rl_callback_read_char();
        if (!g_interactiveHaveLine)
            continue;
        g_interactiveHaveLine = false;
        if (isCommand(line))
        {
            add_history(line.c_str());
            rl_callback_handler_remove();
            rtk::CmdProcessor::getInstance()->execute(line);
            std::cout.flush();
            if (!shell.isQuitRequested())
                rl_callback_handler_install("panel> ", onInteractiveLine);
            continue;
        }
    }
    rl_callback_handler_remove();
    std::cout << std::endl;
    g_pInteractiveLine = nullptr;
}
} // namespace

int main(int argc, char** argv)
{
    Options options;
    if (!parseOptions(argc, argv, options))
    {
        usage();
        return 2;
    }
    int scriptFd = -1;
    if (!options.m_script.empty())
    {
        scriptFd = open(options.m_script.c_str(), O_RDONLY | O_CLOEXEC);
        if (scriptFd < 0)
        {
            std::cerr << "panelhost: cannot open script \"" << options.m_script
                      << "\": " << std::strerror(errno) << std::endl;
            return 2;
        }
    }
    if (!options.m_workdir.empty() && !rtk::Path::setCurrentDirectory(rtk::Path(options.m_workdir)))
    {
        std::cerr << "panelhost: cannot change to \"" << options.m_workdir << "\"" << std::endl;
        return 2;
    }

    if (pipe2(g_signalPipe, O_CLOEXEC) != 0)
    {
        std::cerr << "panelhost: cannot make the signal pipe" << std::endl;
        return 2;
    }
    struct sigaction action;
    std::memset(&action, 0, sizeof(action));
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);

    // Logging exists before the core, which fetches its outputs while it starts.
    rtk::LogManager::createInstance();
    if (!options.m_logFile.empty() && !rtk::LogManager::setLogFile(rtk::Path(options.m_logFile)))
    {
        std::cerr << "panelhost: cannot open the log file \"" << options.m_logFile << "\"" << std::endl;
    }
    if (options.m_logLevel != 0)
    {
        rtk::LogManager::getInstance()->setAllLevels(options.m_logLevel);
        // logkit knows five severities; the debug levels all mean its debug.
        Orvane::Utilities::Logging::LogManager::instance().setDefaultLevel(
            options.m_logLevel < 5 ? options.m_logLevel : 5);
    }

    // The persistent variables' section lives below the working directory unless placed elsewhere.
    SRAMManager::createInstance();
    if (!options.m_sramDirectory.empty())
    {
        SRAMManager::getInstance()->setDirectory(options.m_sramDirectory);
    }

    HostFunctionID functionID(std::cout);
    HostMacroSystem macroSystem(std::cout);
    HostPanelSettings panelSettings;
    HostPanelMFD panelMFD;
    HostDriverInfo driverInfo;

    g_pPanel = new VirtualPanel;
    if (!g_pPanel->create(options.m_mode, options.m_simulatorAddress))
    {
        // The panel is left alive on purpose: a failed create leaves nothing that could be destroyed.
        std::cerr << "panelhost: the core could not be created" << std::endl;
        return 3;
    }
    g_pPanel->setFunctionIDInterface(&functionID);
    g_pPanel->setMacroSystemInterface(&macroSystem);
    macroSystem.setPanelEvent(getInterface<IPanelEvent>(g_pPanel));
    g_pPanel->setPanelSettingsInterface(&panelSettings);
    g_pPanel->setPanelMFDInterface(&panelMFD);
    g_pPanel->setDriverInfoInterface(&driverInfo);
    if (!options.m_moduleOverride.empty())
    {
        g_pPanel->setModuleConfigOverride(rtk::Path(options.m_moduleOverride));
    }
    if (!g_pPanel->init(options.m_exitOnLoadFailure))
    {
        std::cerr << "panelhost: start-up failed: the configuration could not be read" << std::endl;
        // The start-up thread still holds the interpreter mutex, which the core's shutdown needs.
        g_pPanel->releaseMutex();
        delete g_pPanel;
        g_pPanel = nullptr;
        rtk::LogManager::destroyInstance();
        return 3;
    }
    if (!g_pPanel->readWorkplaceConfig(options.m_workplaces, options.m_testMode))
    {
        std::cerr << "panelhost: start-up failed: the workplace configuration could not be read" << std::endl;
        g_pPanel->releaseMutex();
        delete g_pPanel;
        g_pPanel = nullptr;
        rtk::LogManager::destroyInstance();
        return 3;
    }
    g_pPanel->startHardwareUpdate();
    if (options.m_rclp)
    {
        if (options.m_rclpPort >= 0)
        {
            RCLPListener::setListenOverride(options.m_rclpAddress, options.m_rclpPort);
        }
        g_pPanel->startRCLPListener();
    }
    g_pPanel->releaseMutex();

    {
        HostShell shell(g_pPanel);
        shell.setInterruptFlag(&g_signalled);
        if (scriptFd >= 0)
        {
            runPlain(scriptFd, shell);
            close(scriptFd);
        }
        else if (isatty(STDIN_FILENO))
        {
            runInteractive(shell);
        }
        else
        {
            runPlain(STDIN_FILENO, shell);
        }
    }

    g_pPanel->stopHardwareUpdate();
    delete g_pPanel;
    g_pPanel = nullptr;
    SRAMManager::destroyInstance();
    std::cout.flush();
    rtk::LogManager::destroyInstance();
    return 0;
}
