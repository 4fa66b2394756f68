// Fuzz target: the input bytes as a module's PDL source, run through the whole grammar with the set-up
// a module load gives it: the log present, the interpreter mutex held, the module being loaded in
// g_pCurrentModule below a global, a workplace and a group scope, the persistent store present, the
// scanner flushed, the error count at 0, the block words cleared, the source's path current. Parser
// messages are swallowed.
//
// The grammar reaches everything it builds through g_pCurrentModule; module and scopes are made fresh
// for each run and deleted afterwards, so every declaration, function, widget and sequence the input
// defines is freed with them. The one line to adapt, should the entry ever take parameters
// (%parse-param), is the one marked "the parse" below.

#include "fuzz_support.h"

#include "pdlbaseclasses.h"
#include "pdlinterpreter.h"
#include "pdlmodule.h"
#include "pdlparser.h"
#include "pdlparser.hpp"
#include "pdlpersistentvarmanager.h"
#include "pdlscanner.h"
#include "pdlsymboltable.h"

#include "rtk/log.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

namespace
{
// A shared scope above the module, where global, workplace and group declarations land.
class FuzzScope : public PDLContext
{
public:
    FuzzScope(PDLContext* pParent, EScope scope)
        : PDLContext(pParent, UniqueModuleID(1, 2, 3)), m_scope(scope)
    {
    }
    EScope getScope() const override { return m_scope; }

private:
    EScope m_scope;
};
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    pdlfuzz::initialise();
    // Semantic errors of the actions are reported through the log, which writes to the silenced
    // standard error stream.
    if (!rtk::LogManager::hasInstance())
    {
        rtk::LogManager::createInstance();
    }
    if (!PDLPersistentVarManager::hasInstance())
    {
        // Persistent declarations need a section: one in memory.
        static std::vector<unsigned char> s_section(70000);
        PDLPersistentVarManager::createInstance()->useSection(s_section.data(), s_section.size());
        PDLPersistentVarManager::getInstance()->init(true);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* pData, size_t size)
{
    PDLInterpreter::mutexTake();
    std::unique_ptr<FuzzScope> pGlobal(new FuzzScope(nullptr, eScopeGlobal));
    std::unique_ptr<FuzzScope> pWorkplace(new FuzzScope(pGlobal.get(), eScopeWorkplace));
    std::unique_ptr<FuzzScope> pGroup(new FuzzScope(pWorkplace.get(), eScopeGroup));
    std::unique_ptr<PDLModule> pModule(
        new PDLModule(pGroup.get(), UniqueModuleID(1, 2, 3), 0, 0, nullptr, ""));
    g_pCurrentModule = pModule.get();
    PDLParseInfo::m_errorCount = 0;
    flag_stack.clear();
    allow_flags = 0;

    FILE* const pInput = pdlfuzz::openInput(pData, size);
    pdlfuzz::startScan(pInput);
    yyparse(); // the parse
    pdlfuzz::endScan(pInput);

    pModule.reset();
    g_pCurrentModule = nullptr;
    pGroup.reset();
    pWorkplace.reset();
    pGlobal.reset();
    PDLInterpreter::mutexGive();
    return 0;
}
