// Fuzz target: the input bytes as a module's PDL source, run through the parser with the set-up a
// module load gives it: the interpreter mutex held, the module being loaded in g_pCurrentModule, the
// scanner flushed, the error count at 0, the source's path current. Parser messages are swallowed.
//
// The grammar reaches everything it builds through g_pCurrentModule, a fresh module per run that is
// deleted afterwards, and its entry stays yyparse(), so this target runs unchanged as the grammar grows.
// The one line to adapt, should the entry ever take parameters (%parse-param), is the one marked
// "the parse" below.

#include "fuzz_support.h"

#include "pdlbaseclasses.h"
#include "pdlinterpreter.h"
#include "pdlmodule.h"
#include "pdlparser.hpp"
#include "pdlscanner.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    pdlfuzz::initialise();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* pData, size_t size)
{
    PDLInterpreter::mutexTake();
    std::unique_ptr<PDLModule> pModule(new PDLModule(nullptr, UniqueModuleID(1, 2, 3), 0, 0, nullptr, ""));
    g_pCurrentModule = pModule.get();
    PDLParseInfo::m_errorCount = 0;

    FILE* const pInput = pdlfuzz::openInput(pData, size);
    pdlfuzz::startScan(pInput);
    yyparse(); // the parse
    pdlfuzz::endScan(pInput);

    pModule.reset();
    g_pCurrentModule = nullptr;
    PDLInterpreter::mutexGive();
    return 0;
}
