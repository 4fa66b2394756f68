// Kills pvm_writer with SIGKILL at random moments, KILLS times, restarting it on the same section each
// time. Each start must find the section sound (no reset, a sound heap) and every variable at the
// value last written, or, for the one write in flight, at the value before it.
// Usage: pvm_killtest WRITER KILLS

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>
#include <random>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace
{
struct Known
{
    std::string m_value = "0:";
    std::string m_before = "0:";
};

// Reads the child's lines until "READY" (when untilReady) or the end of its output.
bool readLines(int fd, std::string& pending, std::vector<std::string>& lines, bool untilReady)
{
    char buffer[4096];
    while (true)
    {
        size_t end;
        while ((end = pending.find('\n')) != std::string::npos)
        {
            lines.push_back(pending.substr(0, end));
            pending.erase(0, end + 1);
            if (untilReady && lines.back() == "READY")
            {
                return true;
            }
        }
        ssize_t const got = read(fd, buffer, sizeof(buffer));
        if (got <= 0)
        {
            return false;
        }
        pending.append(buffer, static_cast<size_t>(got));
    }
}
} // namespace

int main(int argc, char** argv)
{
    if (argc < 3)
    {
        std::cerr << "Usage: pvm_killtest WRITER KILLS" << std::endl;
        return 2;
    }
    int const kills = std::atoi(argv[2]);
    char pattern[] = "/tmp/pvm_kill_XXXXXX";
    std::string const directory = mkdtemp(pattern);
    std::map<std::string, Known> known;
    std::string inFlight;
    std::mt19937 random(12345);
    int failures = 0;
    int runs = 0;
    int duringWrites = 0;
    int repairs = 0;
    auto const started = std::chrono::steady_clock::now();
    for (int run = 0; run <= kills && failures == 0; ++run)
    {
        int fds[2];
        if (pipe(fds) != 0)
        {
            return 2;
        }
        pid_t const child = fork();
        if (child == 0)
        {
            dup2(fds[1], STDOUT_FILENO);
            close(fds[0]);
            close(fds[1]);
            std::string const seed = std::to_string(run + 1);
            execl(argv[1], argv[1], directory.c_str(), seed.c_str(), static_cast<char*>(nullptr));
            _exit(127);
        }
        close(fds[1]);
        std::string pending;
        std::vector<std::string> lines;
        bool const last = run == kills;
        // Most kills hit the writes; every eighth one hits the start, its check or its compaction.
        if (last || run % 8 != 7)
        {
            readLines(fds[0], pending, lines, true);
            std::this_thread::sleep_for(std::chrono::microseconds(last ? 0 : random() % 4000));
        }
        else
        {
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 6000));
        }
        kill(child, SIGKILL);
        readLines(fds[0], pending, lines, false);
        close(fds[0]);
        waitpid(child, nullptr, 0);

        bool wrote = false;
        for (std::string const& line : lines)
        {
            auto const blank = line.find(' ', 2);
            std::string const name = line.substr(2, blank - 2);
            std::string const value = blank == std::string::npos ? "" : line.substr(blank + 1);
            if (line.compare(0, 6, "START ") == 0)
            {
                bool const bad = (run > 0 && line.find("reset=1") != std::string::npos) ||
                                 line.find("heap=ok") == std::string::npos;
                repairs += line.find("repaired=1") != std::string::npos ? 1 : 0;
                if (bad)
                {
                    std::cerr << "start " << run << ": " << line << std::endl;
                    ++failures;
                }
            }
            else if (line.compare(0, 8, "COMPACT ") == 0 && line != "COMPACT ok")
            {
                std::cerr << "start " << run << ": " << line << std::endl;
                ++failures;
            }
            else if (line.compare(0, 2, "V ") == 0)
            {
                Known& entry = known[name];
                if (value != entry.m_value && !(name == inFlight && value == entry.m_before))
                {
                    std::cerr << "start " << run << ": " << name << " holds \"" << value << "\", written were \""
                              << entry.m_before << "\" and \"" << entry.m_value << "\"" << std::endl;
                    ++failures;
                }
                entry.m_value = entry.m_before = value;
            }
            else if (line.compare(0, 2, "W ") == 0)
            {
                Known& entry = known[name];
                entry.m_before = entry.m_value;
                entry.m_value = value;
                inFlight = name;
                wrote = true;
            }
        }
        duringWrites += wrote ? 1 : 0;
        runs = run;
    }
    if (failures == 0)
    {
        std::filesystem::remove_all(directory);
    }
    else
    {
        std::cerr << "the section is kept in " << directory << std::endl;
    }
    double const seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    std::cout << runs << " kills (" << duringWrites << " while writing), " << repairs
              << " starts completed an interrupted write, " << failures << " failures, " << seconds << " s"
              << std::endl;
    return failures == 0 ? 0 : 1;
}
