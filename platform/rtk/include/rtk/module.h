#ifndef RTK_MODULE_H
#define RTK_MODULE_H

#include "rtk/path.h"

#include <interfaces/iinterface.h>

#include <string>

// The one C entry point a loadable library exports. It returns the library's root object, which the
// loader owns from then on (deleted through IInterface's virtual destructor before the library is
// unloaded). Define it in the library as:
//     extern "C" IInterface* RTK_MODULE_ENTRY() { return new MyRoot; }
#define RTK_MODULE_ENTRY rtkModuleEntry
#define RTK_MODULE_ENTRY_NAME "rtkModuleEntry"

extern "C" typedef IInterface* (*RtkModuleEntryFunction)();

namespace rtk
{
// A loaded library. It answers queryInterface by asking the library's root object; deleting it
// deletes the root object and then unloads the library.
class Module : public IInterface
{
public:
    ~Module() override;
    IInterface* queryInterface(unsigned int id) override;

    IInterface* getRoot() const { return m_pRoot; }
    Path const& getPath() const { return m_path; }

private:
    friend class ModuleLoader;
    Module(void* pHandle, IInterface* pRoot, Path const& path);
    Module(Module const&) = delete;
    Module& operator=(Module const&) = delete;

    void* m_pHandle;
    IInterface* m_pRoot;
    Path m_path;
};

class ModuleLoader
{
public:
    enum ELoadOption
    {
        eLoadDefault = 0, // symbols resolved at once, kept local to the library
        eLoadGlobal = 1   // symbols resolved at once and offered to libraries loaded later
    };

    // Loads the library. A relative path is taken from the working directory (never searched for in
    // the library path). Null on failure, with the reason in getLastError().
    Module* load(Path const& path, int option = eLoadDefault);
    std::string const& getLastError() const { return m_lastError; }

private:
    std::string m_lastError;
};
} // namespace rtk

#endif
