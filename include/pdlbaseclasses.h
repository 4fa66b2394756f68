#ifndef PDLBASECLASSES_H
#define PDLBASECLASSES_H

// The base of every node of the PDL code tree (PDLObject, PDLCommand) and the process-wide position
// and error bookkeeping of the interpreter: where the parser stands (PDLParseInfo) and how a fault is
// reported (PDLRunTimeInfo::showError).

#include "pdldebugger.h"

#include "rtk/log.h"
#include "rtk/path.h"

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <typeinfo>

class PDLContext;
class PDLModule;
class PDLObject;
class PDLVariable;
class PDLWidget;

// The module being loaded: the one link from parser and scanner to the module. Null outside a load.
extern PDLModule* g_pCurrentModule;

// The construct being built: its file and line, and the count of errors reported so far.
class PDLParseInfo
{
public:
    static rtk::Path m_filePath;
    static int32_t m_line;
    static uint32_t m_errorCount;
};

class PDLRunTimeInfo
{
public:
    // The log output "PDLInterpreter", fetched at the first report.
    static rtk::LogOutput* s_pLogOutput;
    // The last context made or entered, and the node being built, bound or executed.
    static PDLContext* s_pCurrentContext;
    static PDLObject* s_pCurrentObject;

    // Opens a report of that level and returns the stream into which the caller writes its text.
    // The caller ends the report with two line ends and counts FATAL and ERROR reports in
    // PDLParseInfo::m_errorCount. file and line name the call site and are not printed.
    static std::ostream& showError(rtk::LogOutput::ELogLevel level, char const* file, int line);

    // A whole report: showError, the text, two line ends, and the count for FATAL and ERROR.
    // A failed check is reported at FATAL with the bare expression as its text.
    static void report(rtk::LogOutput::ELogLevel level, std::string const& text, char const* file, int line);

    // A failed check: a FATAL report whose text is the name of what is missing. Returns present.
    // Inline, since every node runs it on every execution; only a failure leaves the caller.
    static bool checkPresent(bool present, char const* name, char const* file, int line)
    {
        if (__builtin_expect(present, true))
        {
            return true;
        }
        reportMissing(name, file, line);
        return false;
    }

private:
    static void reportMissing(char const* name, char const* file, int line);
};

// Checks that a member or local is not null, reporting its name as a failed check when it is.
#define PDL_CHECK(member) PDLRunTimeInfo::checkPresent((member) != nullptr, #member, __FILE__, __LINE__)

// Storage of code nodes. A module's code is tens of thousands of small nodes that live and die together,
// so they are carved one after the other out of 64 KiB blocks instead of each taking a heap block with
// its own header and rounding. A block counts the nodes in it (plus one while it is the block that
// new nodes come from) and goes back to the heap with its last node. Nodes made at run time or kept
// longer only keep their block; the space of a node deleted early is not reused. Every thread fills a
// block of its own. Under the address sanitizer nodes come from the usual heap, so that its checks of
// use after free still see them.
class PDLCodeStore
{
public:
    static void* allocate(size_t size);
    static void release(void* pMemory) noexcept;
};

// Hands out memory of PDLCodeStore to standard containers that belong to code nodes.
template <class T>
class PDLCodeAllocator
{
public:
    using value_type = T;

    PDLCodeAllocator() noexcept = default;
    template <class U>
    PDLCodeAllocator(PDLCodeAllocator<U> const& /*other*/) noexcept
    {
    }

    T* allocate(size_t count) { return static_cast<T*>(PDLCodeStore::allocate(count * sizeof(T))); }
    void deallocate(T* pMemory, size_t /*count*/) noexcept { PDLCodeStore::release(pMemory); }

    template <class U>
    bool operator==(PDLCodeAllocator<U> const& /*other*/) const noexcept
    {
        return true;
    }
    template <class U>
    bool operator!=(PDLCodeAllocator<U> const& /*other*/) const noexcept
    {
        return false;
    }
};

// The file of a code node as a small number (two bytes) instead of a path. Numbers are handed out once
// per distinct path and stay for the life of the process; 0 is the empty path. Should more than 65535
// distinct files ever be seen, the later ones share the last number. It is set from and read as a path.
class PDLSourceFile
{
public:
    PDLSourceFile() : m_number(0) {}
    explicit PDLSourceFile(rtk::Path const& path) : m_number(numberOf(path)) {}
    PDLSourceFile& operator=(rtk::Path const& path)
    {
        m_number = numberOf(path);
        return *this;
    }

    rtk::Path const& getPath() const;
    operator rtk::Path const&() const { return getPath(); }

private:
    // The path of the last call is remembered, so a parse pays one comparison per node.
    static uint16_t numberOf(rtk::Path const& path);

    uint16_t m_number;
};

// A node of the code tree: its source position, the context in which its names resolve, and the
// hook by which it binds itself once that context is known.
class PDLObject
{
public:
    // Takes the position from PDLParseInfo and becomes the current object.
    PDLObject();
    virtual ~PDLObject();

    static void* operator new(size_t size) { return PDLCodeStore::allocate(size); }
    static void operator delete(void* pMemory) noexcept { PDLCodeStore::release(pMemory); }

    virtual void dump() const;
    virtual void print() const;
    // Binds the node to m_pContext: checks children, resolves names, passes the context on.
    virtual void onContextSet();

    // Stores the context and the flag, becomes the current object, then binds (onContextSet).
    void setContext(PDLContext* pContext, bool noEventRegistration);

    // Resolves a name through the context; registerEvent asks that a change of the variable wakes
    // the owner, unless this node was bound with noEventRegistration. Null without a context.
    PDLVariable* getVariable(std::string const& name, bool registerEvent);
    // Resolves a name in the context's own table only. Null without a context.
    PDLVariable* getLocalVariable(std::string const& name);
    // The widget whose code this is, or null.
    PDLWidget* getWidget() const;

    PDLContext* getContext() const { return m_pContext; }
    rtk::Path const& getFilePath() const { return m_filePath.getPath(); }
    int32_t getLine() const { return m_line; }
    bool getNoEventRegistration() const { return m_noEventRegistration; }

protected:
    // Ordered so that the node's own fields take 16 bytes after the virtual table pointer and leave the
    // last byte for a one-byte field of the subclass (the kind of an expression, a command's breakpoint).
    PDLContext* m_pContext;
    int32_t m_line;
    PDLSourceFile m_filePath;
    bool m_noEventRegistration;

private:
    PDLObject(PDLObject const&) = delete;
    PDLObject& operator=(PDLObject const&) = delete;
};

// True when the object's class is exactly T, not a subclass of it. Every class of the core has its
// type_info defined once, beside its first virtual function, so comparing addresses is exact; it spares
// the name comparison that type_info::operator== and dynamic_cast fall back to for different classes.
// Hot paths use it to skip a virtual call or a dynamic_cast for the usual class.
template <class T, class U>
inline bool isExactly(U const& object)
{
    return &typeid(object) == &typeid(T);
}

// Hands the context to a child node or list that may be absent.
template <class T>
void bindToContext(T* pChild, PDLContext* pContext, bool noEventRegistration)
{
    if (pChild != nullptr)
    {
        pChild->setContext(pContext, noEventRegistration);
    }
}

// A node that runs. execute() is the only way to run one; it holds the debugger's stop.
class PDLCommand : public PDLObject
{
public:
    // With registerLine the command is recorded under its line in the module being parsed, where
    // line breakpoints find it (the first command of a line wins).
    explicit PDLCommand(bool registerLine);
    ~PDLCommand() override;

    // Stops at a breakpoint or in single-step mode, then runs onExecute. True: the enclosing code
    // goes on; false: it stops.
    bool execute();

    void setBreakpoint(bool breakpoint) { m_breakpoint = breakpoint; }
    bool getBreakpoint() const { return m_breakpoint; }

protected:
    // Sets the current object to this first, then does the command's work.
    virtual bool onExecute() = 0;

    // What execute does, inline for the loops that run many commands (the code block).
    static bool run(PDLCommand* pCommand)
    {
        if (__builtin_expect(
                pCommand->m_breakpoint || PDLDebugger::s_singleStep.load(std::memory_order_relaxed), false))
        {
            PDLDebugger::stopAt(pCommand->getFilePath(), pCommand->m_line);
        }
        return pCommand->onExecute();
    }

    bool m_breakpoint;
};

#endif
