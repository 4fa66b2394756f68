// Starts the persistent store on the section in the directory given, reports what it finds, and then
// writes persistent PDL variables (texts of changing length, numbers) until it is killed. Before each
// write it prints "W name value", so that whoever kills it knows the one write that may be in flight.

#include "pdlpersistentvarmanager.h"
#include "pdltypeclasses.h"

#include "rtk/log.h"

#include <basekit/srammanager.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace
{
void say(std::string const& line)
{
    std::string const text = line + "\n";
    ssize_t const written = write(STDOUT_FILENO, text.data(), text.size());
    (void)written;
}

std::string describe(PDLVariant const& value)
{
    return std::to_string(value.getKind()) + ":" + value.getString();
}
} // namespace

int main(int argc, char** argv)
{
    if (argc < 2)
    {
        return 2;
    }
    rtk::LogManager::createInstance();
    std::ostringstream log;
    rtk::LogManager::setSink(&log);
    SRAMManager::createInstance()->setDirectory(argv[1]);
    SRAMManager::getInstance()->setSectionSize(SRAMManager::eSRAMSection2, PDLPersistentVarManager::s_heapOffset + 16384);
    PDLPersistentVarManager* pStore = PDLPersistentVarManager::createInstance();
    pStore->init(false);
    std::string why;
    bool const sound = pStore->checkHeap(why, true);
    bool const reset = log.str().find("reinit") != std::string::npos;
    say("START reset=" + std::to_string(reset) + " repaired=" +
        std::to_string(log.str().find("completed") != std::string::npos) + " heap=" + (sound ? "ok" : why));

    UniqueModuleID const moduleID(1, 2, 3);
    std::vector<std::unique_ptr<PDLVariableSimple>> simple;
    for (int i = 0; i < 6; ++i)
    {
        simple.emplace_back(new PDLVariableSimple(eScopeModule, "", "s" + std::to_string(i), true, false, false, true,
                                                  moduleID));
        say("V s" + std::to_string(i) + " " + describe(simple.back()->getValue("", false)));
    }
    PDLVariableArray array(eScopeGlobal, "", "arr", true, false, false, true, moduleID);
    for (int i = 0; i < 6; ++i)
    {
        std::string const key = "k" + std::to_string(i);
        say("V arr." + key + " " + describe(array.getValueAtIndex(PDLVariant(key), "", false)));
    }
    pStore->compactMemory();
    say(std::string("COMPACT ") + (pStore->checkHeap(why, false) ? "ok" : why));
    say("READY");
    // Slow motion: a pause after every store into the section, so that most kills land inside an
    // operation rather than between two.
    PDLPersistentVarManager::setStoreHook(
        [](void*)
        {
            auto const until = std::chrono::steady_clock::now() + std::chrono::microseconds(30);
            while (std::chrono::steady_clock::now() < until)
            {
            }
        },
        nullptr);

    unsigned int const seed = argc > 2 ? static_cast<unsigned int>(std::strtoul(argv[2], nullptr, 10)) : 1;
    for (unsigned int i = seed * 100000;; ++i)
    {
        unsigned int const target = (i * 7) % 12;
        PDLVariant value(std::to_string(i) + std::string((i * 13) % 97, '.'));
        if (i % 5 == 0)
        {
            value = PDLVariant(static_cast<int>(i));
        }
        else if (i % 7 == 0)
        {
            value = PDLVariant(static_cast<float>(i % 1000) + 0.5f);
        }
        std::string const name = target < 6 ? "s" + std::to_string(target) : "arr.k" + std::to_string(target - 6);
        say("W " + name + " " + describe(value));
        if (target < 6)
        {
            simple[target]->setValue(value);
        }
        else
        {
            array.setValueAtIndex(PDLVariant("k" + std::to_string(target - 6)), value);
        }
        if (i % 3 == 0)
        {
            pStore->compactMemOneStep();
        }
    }
}
