#ifndef CORE_PDLFIXTURE_H
#define CORE_PDLFIXTURE_H

// Shared pieces of the PDL data model tests: a context of any scope that records its registrations,
// a fixture that resets the interpreter's statics, and a capture of standard output.

#include "core_fixture.h"

#include "pdlbaseclasses.h"
#include "pdleventmanager.h"
#include "pdlinterpreter.h"
#include "pdlmodule.h"
#include "pdlpersistentvarmanager.h"
#include "pdlsymboltable.h"
#include "pdltypeclasses.h"

#include "rtk/log.h"

#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

// A scope of a chosen kind. Records each registerForVariableEvent call; may own the answer to
// getModule and getCurrentEvent.
class TestContext : public PDLContext
{
public:
    TestContext(PDLContext* pParent, EScope scope, PDLModule* pModule = nullptr)
        : PDLContext(pParent, UniqueModuleID(1, 2, 3)), m_scope(scope), m_pModule(pModule)
    {
    }

    void registerForVariableEvent(std::string const& name, bool separateEvent) override
    {
        m_registrations.emplace_back(name, separateEvent);
    }
    EScope getScope() const override { return m_scope; }
    PDLEvent const* getCurrentEvent() const override { return m_pEvent; }
    PDLModule* getModule() override { return m_pModule != nullptr ? m_pModule : PDLContext::getModule(); }

    std::vector<std::pair<std::string, bool>> m_registrations;
    PDLEvent const* m_pEvent = nullptr;

private:
    EScope m_scope;
    PDLModule* m_pModule;
};

// Redirects std::cout into a string for its lifetime.
class CoutCapture
{
public:
    CoutCapture() : m_pOld(std::cout.rdbuf(m_text.rdbuf())) {}
    ~CoutCapture() { std::cout.rdbuf(m_pOld); }
    std::string text() const { return m_text.str(); }

private:
    std::ostringstream m_text;
    std::streambuf* m_pOld;
};

class PDLTest : public CoreTest
{
protected:
    void SetUp() override
    {
        CoreTest::SetUp();
        PDLRunTimeInfo::s_pCurrentContext = nullptr;
        PDLRunTimeInfo::s_pCurrentObject = nullptr;
        PDLParseInfo::m_filePath = rtk::Path();
        PDLParseInfo::m_line = 0;
        g_pCurrentModule = nullptr;
        // Each test fetches the log output anew, which gives it PDLInterpreter::s_logLevel.
        PDLRunTimeInfo::s_pLogOutput = nullptr;
        PDLInterpreter::s_logLevel = 3;
    }

    void TearDown() override
    {
        if (PDLEventManager::hasInstance())
        {
            PDLEventManager::destroyInstance();
        }
        // Variables kept by the test go after the event manager, which may still list them.
        m_kept.clear();
        if (PDLPersistentVarManager::hasInstance())
        {
            PDLPersistentVarManager::destroyInstance();
        }
        g_pCurrentModule = nullptr;
        PDLInterpreter::s_logLevel = 3;
        CoreTest::TearDown();
    }

    template <class T>
    T* keep(T* pVariable)
    {
        m_kept.emplace_back(pVariable);
        return pVariable;
    }

    // Count of the text in the log so far.
    int countInLog(std::string const& text) const
    {
        std::string const log = logText();
        int count = 0;
        for (size_t pos = log.find(text); pos != std::string::npos; pos = log.find(text, pos + text.size()))
        {
            ++count;
        }
        return count;
    }

    std::vector<std::unique_ptr<PDLVariable>> m_kept;
};

// A heap declaration list as the grammar hands it over.
inline PDLProtoVarVector* makeProtos(std::vector<PDLProtoVariable*> protos)
{
    return new PDLProtoVarVector(std::move(protos));
}

inline PDLProtoVariable* proto(std::string const& name, bool isArray = false, bool isSet = false,
                               bool generateEvents = true)
{
    return new PDLProtoVariable(name, isArray, isSet, nullptr, false, "", generateEvents);
}

#endif
