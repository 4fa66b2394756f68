// A small loadable library for the module loader tests.
#include "testinterface.h"

#include "rtk/module.h"

namespace
{
class Counter : public ITestCounter
{
public:
    ~Counter() override
    {
        if (m_pFlag != nullptr)
            *m_pFlag = 1;
    }
    IInterface* queryInterface(unsigned int id) override
    {
        return id == ITestCounter::s_interfaceID ? static_cast<ITestCounter*>(this) : nullptr;
    }
    int next() override { return ++m_value; }
    void watchDestruction(int* pFlag) override { m_pFlag = pFlag; }

private:
    int m_value = 0;
    int* m_pFlag = nullptr;
};
} // namespace

extern "C" IInterface* RTK_MODULE_ENTRY()
{
    return new Counter;
}
