#include "rtk/module.h"

#include <dlfcn.h>

namespace rtk
{
Module::Module(void* pHandle, IInterface* pRoot, Path const& path)
    : m_pHandle(pHandle), m_pRoot(pRoot), m_path(path)
{
}

Module::~Module()
{
    // The root object's code lives in the library: delete it before unloading.
    delete m_pRoot;
    m_pRoot = nullptr;
    if (m_pHandle != nullptr)
        dlclose(m_pHandle);
}

IInterface* Module::queryInterface(unsigned int id)
{
    return m_pRoot != nullptr ? m_pRoot->queryInterface(id) : nullptr;
}

Module* ModuleLoader::load(Path const& path, int option)
{
    m_lastError.clear();
    if (path.isEmpty())
    {
        m_lastError = "empty library path";
        return nullptr;
    }
    // A name with a separator is opened as a path; "./" keeps a bare relative name from being searched
    // for in the library path.
    std::string fileName = path.getString();
    if (!path.isAbsolute() && fileName.compare(0, 2, "./") != 0)
        fileName = "./" + fileName;
    int flags = RTLD_NOW | ((option & eLoadGlobal) != 0 ? RTLD_GLOBAL : RTLD_LOCAL);
    void* pHandle = dlopen(fileName.c_str(), flags);
    if (pHandle == nullptr)
    {
        char const* pError = dlerror();
        m_lastError = pError != nullptr ? pError : "cannot load " + fileName;
        return nullptr;
    }
    dlerror();
    void* pSymbol = dlsym(pHandle, RTK_MODULE_ENTRY_NAME);
    if (pSymbol == nullptr)
    {
        char const* pError = dlerror();
        m_lastError = pError != nullptr ? pError : fileName + ": no " RTK_MODULE_ENTRY_NAME;
        dlclose(pHandle);
        return nullptr;
    }
    RtkModuleEntryFunction entry = reinterpret_cast<RtkModuleEntryFunction>(pSymbol);
    IInterface* pRoot = entry();
    if (pRoot == nullptr)
    {
        m_lastError = fileName + ": " RTK_MODULE_ENTRY_NAME " returned no object";
        dlclose(pHandle);
        return nullptr;
    }
    return new Module(pHandle, pRoot, path);
}
} // namespace rtk
