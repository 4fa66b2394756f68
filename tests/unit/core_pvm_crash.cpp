#include "core_pvm_helpers.h"

#include <map>
#include <random>

// Stops a process at every single store of every operation: the section as it stands at each store
// must start without a reset, with every variable at its value before or after the operation, and
// with a sound heap.

namespace
{
std::string describe(PDLVariant const& value)
{
    return std::to_string(value.getKind()) + ":" + value.getString();
}

void copySection(void* pContext)
{
    auto* pTest = static_cast<PvmTest*>(pContext);
    static_cast<std::vector<std::vector<unsigned char>>*>(pTest->m_pUser)->push_back(pTest->m_section);
}
} // namespace

class PvmCrashTest : public PvmTest
{
public:
    std::map<std::string, std::string> values()
    {
        std::map<std::string, std::string> result;
        for (std::string const& name : m_names)
        {
            int const slot = m_pStore->findVarIndex(m_module, name);
            result[name] = slot < 0 ? "absent" : describe(m_pStore->getValue(slot));
        }
        return result;
    }

    std::vector<std::string> m_names;
};

TEST_F(PvmCrashTest, EveryStoreLeavesAStartableSection)
{
    m_section.assign(PDLPersistentVarManager::s_heapOffset + 8192, 0);
    m_pStore->useSection(m_section.data(), static_cast<unsigned int>(m_section.size()));
    m_pStore->init(true);
    std::mt19937 random(7);
    for (int i = 0; i < 12; ++i)
    {
        m_names.push_back("v" + std::to_string(i));
    }
    std::vector<std::vector<unsigned char>> snapshots;
    m_pUser = &snapshots;
    int checked = 0;
    int repaired = 0;
    for (int step = 0; step < 300; ++step)
    {
        std::string const name = m_names[random() % m_names.size()];
        int const slot = m_pStore->findVarIndex(m_module, name);
        unsigned int const action = random() % 10;
        std::map<std::string, std::string> const before = values();
        snapshots.clear();
        PDLPersistentVarManager::setStoreHook(&copySection, this);
        if (slot < 0 || action == 0)
        {
            slot < 0 ? static_cast<void>(m_pStore->insertVariable(m_module, name)) : m_pStore->removeVariable(slot);
        }
        else if (action < 6)
        {
            m_pStore->setValue(slot, PDLVariant(name + "/" + std::to_string(step) + std::string(random() % 90, '.')));
        }
        else if (action < 9)
        {
            PDLVariant const values[] = {PDLVariant(step), PDLVariant(step + 0.5f), PDLVariant(step % 2 == 0),
                                         PDLVariant()};
            m_pStore->setValue(slot, values[random() % 4]);
        }
        else
        {
            m_pStore->compactMemOneStep();
        }
        PDLPersistentVarManager::setStoreHook(nullptr, nullptr);
        std::map<std::string, std::string> const after = values();
        std::vector<unsigned char> const live = m_section;
        for (std::vector<unsigned char> const& snapshot : snapshots)
        {
            m_section = snapshot;
            std::string const log = restart();
            ASSERT_EQ(std::string::npos, log.find("WARNING")) << "step " << step << "\n" << log;
            repaired += log.find("completed") != std::string::npos ? 1 : 0;
            ASSERT_EQ("", heapProblem(true)) << "step " << step;
            std::map<std::string, std::string> const now = values();
            for (std::string const& n : m_names)
            {
                ASSERT_TRUE(now.at(n) == before.at(n) || now.at(n) == after.at(n))
                    << "step " << step << " " << n << ": " << now.at(n) << " is neither " << before.at(n)
                    << " nor " << after.at(n);
            }
            std::string const beforeCompaction = heapProblem(true);
            for (int k = 0; k < 1000 && m_pStore->getFreeBlockCount() > 1; ++k)
            {
                m_pStore->compactMemOneStep();
                ASSERT_EQ("", heapProblem(true)) << "step " << step << " action " << action << " k " << k << " snapshot " << checked;
            }
            ASSERT_EQ("", heapProblem()) << "step " << step;
            ++checked;
        }
        m_section = live;
        restart();
        ASSERT_EQ("", heapProblem(true)) << "step " << step;
    }
    // The interrupted states must really have needed the start-up's completion now and then.
    RecordProperty("stops", checked);
    RecordProperty("completed", repaired);
    EXPECT_GT(checked, 1200);
    EXPECT_GT(repaired, 60);
}
