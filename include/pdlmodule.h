#ifndef PDLMODULE_H
#define PDLMODULE_H

// PDLModule: the scope object of one physical module position and the entry of events into its code.
// This holds the module's position and event entry; its content comes with module loading.

#include <basekit/uniqueids.h>

#include <map>
#include <set>
#include <string>

class PDLCommand;
class PDLEvent;
class PDLType;

class PDLModule
{
public:
    explicit PDLModule(UniqueModuleID const& id);
    virtual ~PDLModule();

    int getWorkplaceID() const { return m_id.getWorkplaceID(); }
    int getGroupID() const { return m_id.getGroupID(); }
    int getModuleID() const { return m_id.getModuleID(); }
    UniqueModuleID const& getUniqueModuleID() const { return m_id; }

    // Runs an event on the module's widgets and sequences; a module without any runs nothing.
    void executeEvent(PDLEvent const* pEvent);

    // The module's types, owned. A null type is a reported fault; a name already known deletes the
    // new type silently. Both give false.
    bool registerType(PDLType* pType);
    bool hasType(std::string const& name) const;
    PDLType* getType(std::string const& name) const;
    // Names of shared-scope variables declared by the source being parsed.
    void addVariableInFile(std::string const& name);
    bool hasVariableInFile(std::string const& name) const;
    // The first command of each source line, for line breakpoints; the first one recorded stays.
    void addCommand(int line, PDLCommand* pCommand);
    PDLCommand* getCommand(int line) const;

private:
    PDLModule(PDLModule const&) = delete;
    PDLModule& operator=(PDLModule const&) = delete;

    UniqueModuleID m_id;
    std::set<std::string> m_variablesInFile;
    std::map<int, PDLCommand*> m_commandsByLine;
    std::map<std::string, PDLType*> m_types;
};

#endif
