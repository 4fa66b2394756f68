#include "core_rclp_fixture.h"

#include "rclp/rclpwire.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <dirent.h>
#include <random>

using namespace rclptest;

namespace
{
// Entries of a /proc directory: open descriptors or threads of this process.
int countEntries(char const* pDirectory)
{
    int count = 0;
    if (DIR* pDir = opendir(pDirectory))
    {
        while (dirent* pEntry = readdir(pDir))
            count += pEntry->d_name[0] != '.' ? 1 : 0;
        closedir(pDir);
    }
    return count;
}

// Seconds of churn: VP_RCLP_CHURN_SECONDS, a minute unless set.
int churnSeconds()
{
    char const* pText = std::getenv("VP_RCLP_CHURN_SECONDS");
    int seconds = pText != nullptr ? std::atoi(pText) : 0;
    return seconds > 0 ? seconds : 60;
}

struct ChurnCounters
{
    std::atomic<long> m_sessions{0};
    std::atomic<long> m_updates{0};
    std::atomic<long> m_foreign{0};        // updates of another client's ids: must stay 0
    std::atomic<long> m_missingAnswers{0}; // garbage without an error answer, oversized lines left open
};

// One client slot: sessions of random behaviour until the deadline. The slot's ids all start with
// "CH.<slot>."; any other id it receives is counted as foreign.
void churnClient(int slot, uint16_t port, std::chrono::steady_clock::time_point deadline, ChurnCounters& counters)
{
    std::mt19937 random(static_cast<unsigned>(slot) * 7919u + 1u);
    std::string const prefix = "CH." + std::to_string(slot) + ".";
    // Reads one line; counts updates and foreign ids. True for an error answer.
    auto readOne = [&](RCLPTestClient& client, int timeoutMs, bool& gotLine)
    {
        std::string line;
        RCLPMessage message;
        std::string error;
        gotLine = client.readLine(line, timeoutMs);
        if (!gotLine || !RCLPWire::parseServerLine(line, message, error))
            return false;
        if (message.m_op == RCLPMessage::eOpError)
            return true;
        ++counters.m_updates;
        counters.m_foreign += message.m_fid.compare(0, prefix.size(), prefix) != 0 ? 1 : 0;
        return false;
    };
    // Generous: a sanitizer build on a busy machine is slow, and a lost answer never comes.
    auto expectError = [&](RCLPTestClient& client)
    {
        auto until = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        for (bool gotLine = true; gotLine && std::chrono::steady_clock::now() < until;)
            if (readOne(client, 10000, gotLine))
                return;
        ++counters.m_missingAnswers;
    };

    while (std::chrono::steady_clock::now() < deadline)
    {
        RCLPTestClient client(port);
        if (!client.isConnected())
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            continue;
        }
        ++counters.m_sessions;
        client.sendLine(R"({"op":"subscribe","fid":")" + prefix + R"([N:*]"})");
        if (random() % 2 == 0)
            client.sendLine(R"({"op":"subscribe","fid":")" + prefix + R"(X"})");
        // Garbage that must be answered with an error, an oversized line that must end the connection,
        // an unsubscribe, or a while of reading.
        std::string const garbage[] = {"{not json\n", R"({"op":"explode","fid":"A"})" "\n",
                                       std::string("\x00\xff\x80\x01garbage\n", 12),
                                       R"({"op":"subscribe","fid":"CH.[S:1-]"})" "\n"};
        int steps = static_cast<int>(random() % 6);
        bool open = true;
        for (int step = 0; step < steps && open; ++step)
        {
            unsigned int const action = random() % 9;
            bool gotLine = true;
            if (action < 4)
            {
                client.sendRaw(garbage[action]);
                expectError(client);
            }
            else if (action == 4)
            {
                client.sendRaw(std::string(RCLPWire::s_maxLineLength + 2 + random() % 1000, 'z'));
                counters.m_missingAnswers += client.waitClosed(10000) ? 0 : 1;
                open = false;
            }
            else if (action == 5)
                client.sendLine(R"({"op":"unsubscribe","fid":")" + prefix + R"([N:*]"})");
            else
                for (int i = 0; i < 5 && gotLine; ++i)
                    readOne(client, 5, gotLine);
        }
        // The end: half a line and a close, a reset, or a plain close.
        unsigned int const end = random() % 3;
        if (end == 0)
            client.sendRaw(R"({"op":"subscribe","fid":")");
        end == 1 ? client.abort() : client.close();
    }
}
} // namespace

// Clients connect, subscribe, send garbage and vanish in every way while the state keeps changing:
// the panel keeps answering, nobody hears another's ids, and nothing is left behind.
TEST_F(CoreRCLPTest, ChurnOfAHundredClientsLeavesNothingBehind)
{
    int const clients = 100;
    int const baseFds = countEntries("/proc/self/fd");
    int const baseThreads = countEntries("/proc/self/task");
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(churnSeconds());
    ChurnCounters counters;

    std::atomic<bool> writing{true};
    std::atomic<long> writes{0};
    std::thread writer(
        [&]
        {
            std::mt19937 random(4711);
            while (writing.load())
            {
                std::string fid = "CH." + std::to_string(random() % clients) + "." +
                                  (random() % 4 == 0 ? std::string("X") : std::to_string(random() % 10));
                if (random() % 8 == 0)
                    m_pState->triggerEvent(fid, "t");
                else
                    m_pState->setStateValue(fid, std::to_string(writes.load()));
                ++writes;
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            }
        });
    std::vector<std::thread> threads;
    for (int slot = 0; slot < clients; ++slot)
        threads.emplace_back(churnClient, slot, m_port, deadline, std::ref(counters));

    // Meanwhile a probe must get an answer at every try.
    int probes = 0;
    int unanswered = 0;
    while (std::chrono::steady_clock::now() < deadline)
    {
        RCLPTestClient probe(m_port);
        std::string line;
        bool answered = probe.isConnected() && probe.sendLine(R"({"op":"subscribe","fid":"PROBE"})") &&
                        probe.readLine(line, 5000) && line == updateLine("PROBE", "");
        ++probes;
        unanswered += answered ? 0 : 1;
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
    }
    for (std::thread& thread : threads)
        thread.join();
    writing = false;
    writer.join();

    EXPECT_EQ(0, unanswered) << "of " << probes << " probes";
    EXPECT_EQ(0, counters.m_foreign.load());
    EXPECT_EQ(0, counters.m_missingAnswers.load());
    EXPECT_GT(counters.m_sessions.load(), clients);
    EXPECT_GT(counters.m_updates.load(), 0);

    // Once every connection has ended, the next client clears them all away: one server, its socket and wake-up
    // descriptor, its thread, and the client's own socket are all that is left.
    for (int i = 0; i < 500; ++i)
    {
        std::string shown = shell("rclpShow");
        size_t inactive = 0;
        for (size_t at = shown.find(" (inactive)\n"); at != std::string::npos; at = shown.find(" (inactive)\n", at + 1))
            ++inactive;
        if (static_cast<size_t>(std::count(shown.begin(), shown.end(), '\n')) == inactive)
            break;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    RCLPTestClient last(m_port);
    expectNothingMore(last);
    for (int i = 0; i < 200 && countEntries("/proc/self/task") != baseThreads + 1; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(baseThreads + 1, countEntries("/proc/self/task"));
    EXPECT_EQ(baseFds + 3, countEntries("/proc/self/fd"));
    EXPECT_EQ("127.0.0.1:" + std::to_string(last.getLocalPort()) + "\n", shell("rclpShow"));
    EXPECT_EQ("127.0.0.1\n", statusFile());
    // No subscription of a vanished client is left in the state.
    for (int slot = 0; slot < clients; ++slot)
        for (std::string tail : {"X", "0", "5"})
        {
            PDLStateEntry* pEntry = m_pState->findStateEntry("CH." + std::to_string(slot) + "." + tail);
            EXPECT_TRUE(pEntry == nullptr || !pEntry->hasSubscribers()) << slot << "." << tail;
        }
}
