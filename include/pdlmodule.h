#ifndef PDLMODULE_H
#define PDLMODULE_H

// PDLModule: the scope object of one physical module position and the owner of everything its PDL
// source defines; the parser fills it through the operations below, and executeEvent is where an
// event of the engine enters its code. PDLInitSection is the small context of one `init` block.

#include "pdlsymboltable.h"

#include <basekit/uniqueids.h>

#include <cstdint>
#include <cstdio>
#include <list>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace rtk
{
class IsaacEncryption;
}

class IFunctionID;
class PDLCodeBlock;
class PDLCommand;
class PDLEvent;
class PDLFunction;
class PDLSequence;
class PDLType;
class PDLVariableList;
class PDLWidget;

// The context of one `init` block: its locals and its code, run once at module start.
class PDLInitSection : public PDLContext
{
public:
    // Owns the locals (moved into the section's table, the list itself is freed) and the code; null
    // code is a reported fault.
    PDLInitSection(PDLContext* pParent, PDLVariableList* pLocals, PDLCodeBlock* pCode);
    ~PDLInitSection() override;

    EScope getScope() const override;
    // Binds the code to this section.
    void init();
    // Runs the code.
    void execute();

    PDLCodeBlock* getInitCode() const { return m_pInitCode; }

protected:
    PDLCodeBlock* m_pInitCode;
};

class PDLModule : public PDLContext
{
public:
    // Nothing is loaded yet; name is the module's hardware description file, shown by listModules.
    PDLModule(PDLContext* pParent, UniqueModuleID const& id, int connPort, int connConnector,
              IFunctionID* pFunctionID, std::string const& name);
    // Unloads what is loaded.
    ~PDLModule() override;

    EScope getScope() const override;
    int getWorkplaceID() const override;
    int getGroupID() const override;
    int getModuleID() const override;
    PDLModule* getModule() override;
    IFunctionID* getFunctionIDInterface() override;

    // Runs an event on the module's widgets and sequences: the one entry of the engine into the code.
    void executeEvent(PDLEvent const* pEvent);

    // Parses base/fileName (or its ".enc" twin) into this module and binds the result; unloads first
    // when something is loaded. True when no error was counted. The caller holds the interpreter mutex.
    bool load(rtk::Path const& base, std::string const& fileName);
    // Resets the variables, runs the init sections, then the INIT event on every widget. The caller
    // holds the interpreter mutex.
    void init();
    // load and init again from the same file; nothing when nothing was ever loaded. Takes the
    // interpreter mutex itself.
    void reload();
    // Deletes everything the source defined, the module's variables included. The caller holds the
    // interpreter mutex.
    void unload();
    // Opens an included file into the scanner's input (null there when it cannot be opened or read).
    // Reached through the scanner's include hook while this module loads.
    void include(rtk::Path const& path);
    // Deciphers count bytes in place when the file now being read is enciphered; reached through the
    // scanner's decode hook after each refill. position is the stream position before the read.
    void decode(void* pBuffer, fpos_t position, unsigned long count);
    // True while a source is loaded (also after a failed load, until unload).
    bool isLoaded() const { return !m_filePath.isEmpty(); }
    rtk::Path const& getSourcePath() const { return m_filePath; }
    std::string const& getSourceName() const { return m_fileName; }

    // Debugging: a breakpoint on the first command of a line, and tracing of the widgets and
    // sequences under a widget number.
    void setBreakpoint(int line);
    void deleteBreakpoint(int line);
    void setTrace(unsigned int id, bool on);
    // Shell dumps on standard output.
    void dumpTypes() const;
    void dumpWidgetSymbolTables(unsigned int id) const;
    void dumpSequenceSymbolTables(unsigned int id) const;

    // Fill operations used by the parser; each takes ownership of what it is given.
    void addInitSection(PDLInitSection* pInitSection);
    void addWidget(PDLWidget* pWidget);
    void addSequence(PDLSequence* pSequence);
    // A name already taken is reported ("function name already exists"); the first function stays.
    void addFunction(PDLFunction* pFunction);
    // Creates extern variables bound to the function id fid; consumes the prototypes and the vector.
    void createExternVariables(std::string const& fid, std::string const& typeName,
                               PDLProtoVarVector* pProtos);

    // The module's types, owned. A null type is a reported fault; a name already known deletes the
    // new type silently. Both give false.
    bool registerType(PDLType* pType);
    bool hasType(std::string const& name) const;
    PDLType* getType(std::string const& name) const;
    PDLFunction* getFunction(std::string const& name) const;
    // Names of shared-scope variables declared by the source being parsed.
    void addVariableInFile(std::string const& name);
    bool hasVariableInFile(std::string const& name) const;
    // The first command of each source line, for line breakpoints; the first one recorded stays.
    void addCommand(int line, PDLCommand* pCommand);
    PDLCommand* getCommand(int line) const;
    // A command that goes away takes itself out of the table (one thrown away by a syntax error or a
    // failed context check); the next command recorded for its line becomes the line's first.
    void forgetCommand(int line, PDLCommand const* pCommand);

    std::list<PDLInitSection*> const& getInitSections() const { return m_initSections; }
    std::list<PDLWidget*> const& getWidgets() const { return m_widgets; }
    std::list<PDLSequence*> const& getSequences() const { return m_sequences; }
    std::map<std::string, PDLFunction*> const& getFunctions() const { return m_functions; }
    std::multimap<uint32_t, PDLWidget*> const& getWidgetsByID() const { return m_widgetsByID; }
    std::multimap<uint32_t, PDLSequence*> const& getSequencesByID() const { return m_sequencesByID; }
    int getConnPort() const { return m_connPort; }
    int getConnConnector() const { return m_connConnector; }
    std::list<PDLSequence*> const& getRunningSequences() const { return m_runningSequences; }
    std::map<std::string, PDLType*> const& getTypes() const { return m_types; }
    std::string const& getName() const { return m_name; }
    std::string const& getKey() const { return m_key; }
    bool isEncrypted() const { return m_encrypted; }

protected:
    // Creates a read-only module variable with an integer value.
    void createBuiltIn(std::string const& name, int value);
    // What the header check made of a freshly opened source.
    enum ESourceCheck
    {
        eSourceReady = 0,     // plain (stream rewound) or enciphered (stream behind the header)
        eSourceRefused = 1,   // an enciphered header with an unknown version, type or key; counted
        eSourceUnreadable = 2 // the header could not be read; reported and counted
    };
    // Takes a freshly opened source into use: an enciphered source is recognised by its header, and the
    // cipher of the current include level is keyed for it.
    ESourceCheck takeSourceIntoUse(FILE* pFile, rtk::Path const& path);
    // Deletes the content and the module's variables; log writes the unload steps.
    void releaseContent(bool log);
    // Text of the module in log lines.
    std::string getText() const;

    std::list<PDLInitSection*> m_initSections;
    std::map<std::string, PDLFunction*> m_functions;
    std::multimap<uint32_t, PDLSequence*> m_sequencesByID;
    std::multimap<uint32_t, PDLWidget*> m_widgetsByID;
    std::list<PDLWidget*> m_widgets;
    std::list<PDLSequence*> m_sequences;
    std::list<PDLSequence*> m_runningSequences;
    std::set<std::string> m_variablesInFile;
    // Every command recorded per line, sorted by line and within a line in the order recorded: the first
    // one is the line's. Two parallel sorted vectors, the low 16 bits of the lines and the commands (10
    // bytes a command), trimmed to their size after a load; the high bits of the lines stand once per
    // run of entries that share them (a source of up to 65535 lines has one run).
    struct LineRun
    {
        int32_t m_high;
        uint32_t m_begin;
    };
    std::vector<LineRun> m_lineRuns;
    std::vector<uint16_t> m_commandLines;
    std::vector<PDLCommand*> m_commandsByLine;
    std::map<std::string, PDLType*> m_types;
    // The loaded source. These hide PDLContext's position members on purpose: an empty m_filePath
    // means that nothing is loaded, whatever position the context was made with.
    rtk::Path m_filePath;
    std::string m_fileName;
    bool m_encrypted;
    // One cipher slot per include level, the deepest level included.
    std::vector<rtk::IsaacEncryption*> m_ciphers;
    std::string m_key;
    int32_t m_connPort;
    int32_t m_connConnector;
    IFunctionID* m_pFunctionID;
    std::string m_name;
};

#endif
