// Attribute writes per second through PDLPhysicalWidget and the feedback fan-out: a write that changes
// the value, one that the kept record suppresses, a changing write mirrored to the simulator link as a
// UDP line on the loopback, and a connected attribute following its panel state entry.

#include "panelfeedbackmanager.h"
#include "pdlpanelstate.h"
#include "pdlphysicalwidget.h"

#include "rtk/log.h"

#include <simlink/scprotocol.h>

#include <basekit/uniqueids.h>

#include <benchmark/benchmark.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

namespace
{
// A driver that knows every attribute as text and only counts writes.
class CountingDriver : public IPanelFeedback
{
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    EWidgetParameterType getAttributeParamType(UniqueWidgetID const&, std::string const&) override
    {
        return eParamTypeText;
    }
    EWidgetParameterType getReceiveEventParamType(UniqueWidgetID const&, std::string const&) override
    {
        return eParamTypeUnknown;
    }
    void setAllAttributesToDefault(UniqueWidgetID const&) override {}
    bool setAttributeBool(UniqueWidgetID const&, std::string const&, bool) override { return ++m_writes > 0; }
    bool setAttributeNumeric(UniqueWidgetID const&, std::string const&, int) override { return ++m_writes > 0; }
    bool setAttributeText(UniqueWidgetID const&, std::string const&, std::string const&) override
    {
        return ++m_writes > 0;
    }
    bool getAttributeBool(UniqueWidgetID const&, std::string const&, bool&) override { return false; }
    bool getAttributeNumeric(UniqueWidgetID const&, std::string const&, int&) override { return false; }
    bool getAttributeText(UniqueWidgetID const&, std::string const&, std::string&) override { return false; }
    bool trigger(UniqueWidgetID const&, std::string const&, std::string const&) override { return true; }
    unsigned long m_writes = 0;
};

// The singletons a widget needs, with the driver as first receiver of the fan-out.
struct Setup
{
    Setup()
    {
        if (!rtk::LogManager::hasInstance())
            rtk::LogManager::createInstance();
        PDLPanelState::createInstance();
        PanelFeedbackManager::createInstance()->addIPanelFeedback(&m_driver);
        PDLPhysicalWidgetManager::createInstance()->setPanelFeedbackInterface(PanelFeedbackManager::getInstance());
        m_pWidget = PDLPhysicalWidgetManager::getInstance()->getWidget(UniqueWidgetID(0, 1, 2, 3));
    }
    ~Setup()
    {
        PDLPhysicalWidgetManager::destroyInstance();
        PanelFeedbackManager::destroyInstance();
        PDLPanelState::destroyInstance();
    }
    CountingDriver m_driver;
    PDLPhysicalWidget* m_pWidget = nullptr;
};

void BM_SetAttributeChanged(benchmark::State& state)
{
    Setup setup;
    PDLVariant const values[2] = {PDLVariant("CAM 1"), PDLVariant("CAM 2")};
    unsigned i = 0;
    for (auto _ : state)
        setup.m_pWidget->setAttributeValue("LABEL", values[++i & 1]);
    state.counters["writes"] = static_cast<double>(setup.m_driver.m_writes);
}
BENCHMARK(BM_SetAttributeChanged);

void BM_SetAttributeUnchanged(benchmark::State& state)
{
    Setup setup;
    PDLVariant const value("CAM 1");
    for (auto _ : state)
        setup.m_pWidget->setAttributeValue("LABEL", value);
    state.counters["writes"] = static_cast<double>(setup.m_driver.m_writes);
}
BENCHMARK(BM_SetAttributeUnchanged);

void BM_SetAttributeMirroredToSimulator(benchmark::State& state)
{
    Setup setup;
    // A loopback socket stands for the simulator; what it does not read the kernel drops.
    int const sink = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    bind(sink, reinterpret_cast<sockaddr*>(&address), sizeof(address));
    getsockname(sink, reinterpret_cast<sockaddr*>(&address), &length);
    SCProtocol link(nullptr, false);
    link.setDstIpAddress(("127.0.0.1:" + std::to_string(ntohs(address.sin_port))).c_str());
    PanelFeedbackManager::getInstance()->addIPanelFeedback(&link);
    PDLVariant const values[2] = {PDLVariant("CAM 1"), PDLVariant("CAM 2")};
    unsigned i = 0;
    for (auto _ : state)
        setup.m_pWidget->setAttributeValue("LABEL", values[++i & 1]);
    state.counters["lines"] = static_cast<double>(link.getSentCount());
    state.counters["lost"] = static_cast<double>(link.getSendFailureCount());
    close(sink);
}
BENCHMARK(BM_SetAttributeMirroredToSimulator);

void BM_ConnectedUpdate(benchmark::State& state)
{
    Setup setup;
    PDLPanelState* pState = PDLPanelState::getInstance();
    pState->setValueInt("DEV.GAIN", 0);
    setup.m_pWidget->connect("LABEL", "DEV.GAIN");
    int value = 0;
    for (auto _ : state)
    {
        pState->setValueInt("DEV.GAIN", ++value);
        setup.m_pWidget->update();
    }
    state.counters["writes"] = static_cast<double>(setup.m_driver.m_writes);
}
BENCHMARK(BM_ConnectedUpdate);
} // namespace

BENCHMARK_MAIN();
