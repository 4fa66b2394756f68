#include "pdlbaseclasses.h"

#include "pdldebugger.h"
#include "pdleventmanager.h"
#include "pdlinterpreter.h"
#include "pdlmodule.h"
#include "pdlsymboltable.h"

#include <atomic>
#include <cstdlib>
#include <deque>
#include <iostream>
#include <mutex>
#include <new>
#include <unordered_map>

#include <sys/mman.h>

PDLModule* g_pCurrentModule = nullptr;

rtk::Path PDLParseInfo::m_filePath;
int32_t PDLParseInfo::m_line = 0;
uint32_t PDLParseInfo::m_errorCount = 0;

rtk::LogOutput* PDLRunTimeInfo::s_pLogOutput = nullptr;
PDLContext* PDLRunTimeInfo::s_pCurrentContext = nullptr;
PDLObject* PDLRunTimeInfo::s_pCurrentObject = nullptr;

namespace
{
char const* getLevelName(int level)
{
    switch (level)
    {
    case rtk::LogOutput::eLevelFatal:
        return "FATAL:";
    case rtk::LogOutput::eLevelError:
        return "ERROR:";
    case rtk::LogOutput::eLevelWarning:
        return "WARNING:";
    case rtk::LogOutput::eLevelInfo:
        return "INFO:";
    case rtk::LogOutput::eLevelDebug1:
        return "DEBUG1:";
    case rtk::LogOutput::eLevelDebug2:
        return "DEBUG2:";
    case rtk::LogOutput::eLevelDebug3:
        return "DEBUG3:";
    default:
        return nullptr;
    }
}
} // namespace

std::ostream& PDLRunTimeInfo::showError(rtk::LogOutput::ELogLevel level, char const* /*file*/, int /*line*/)
{
    if (s_pLogOutput == nullptr)
    {
        s_pLogOutput = rtk::LogManager::getInstance()->getOutput("PDLInterpreter");
        s_pLogOutput->setLevel(PDLInterpreter::s_logLevel);
    }

    // Every report starts on a fresh line.
    std::ostream& os = s_pLogOutput->level(level);
    os << std::endl;
    if (static_cast<int>(level) > s_pLogOutput->getLevel())
    {
        return os;
    }

    char const* pName = getLevelName(level);
    if (pName != nullptr)
    {
        os << pName << std::endl;
    }

    // The position shown is the PDL source's, never the interpreter's: the node's when it has one,
    // else the context's.
    if (s_pCurrentObject != nullptr && !s_pCurrentObject->getFilePath().isEmpty())
    {
        os << s_pCurrentObject->getFilePath().getString() << "(" << s_pCurrentObject->getLine()
           << "): " << std::endl;
    }
    else
    {
        if (s_pCurrentContext == nullptr)
        {
            return os;
        }
        if (!s_pCurrentContext->getFilePath().isEmpty())
        {
            os << s_pCurrentContext->getFilePath().getString() << "(" << s_pCurrentContext->getLine()
               << "): " << std::endl;
        }
    }

    if (s_pCurrentContext == nullptr)
    {
        return os;
    }
    PDLEvent const* pEvent = s_pCurrentContext->getCurrentEvent();
    if (pEvent == nullptr || pEvent->m_name.empty())
    {
        return os;
    }
    if (pEvent->m_type == PDLEvent::eEventVariable)
    {
        os << "current variable event: " << pEvent->m_name;
    }
    else
    {
        os << "current widget event: " << pEvent->m_widgetID << " " << pEvent->m_name;
    }
    os << std::endl;
    return os;
}

void PDLRunTimeInfo::report(rtk::LogOutput::ELogLevel level, std::string const& text, char const* file,
                            int line)
{
    showError(level, file, line) << text << std::endl << std::endl;
    if (level == rtk::LogOutput::eLevelFatal || level == rtk::LogOutput::eLevelError)
    {
        ++PDLParseInfo::m_errorCount;
    }
}

// ---------------------------------------------------------------------------------------------------
// PDLCodeStore

namespace
{
#if defined(__SANITIZE_ADDRESS__)
#define PDL_CODE_STORE_HEAP 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define PDL_CODE_STORE_HEAP 1
#endif
#endif

#ifndef PDL_CODE_STORE_HEAP
constexpr size_t kBlockSize = 256 * 1024;

// Heads every block; blocks are aligned to their size, so a node finds its block by its address.
struct BlockHeader
{
    std::atomic<uint32_t> m_users;
    size_t m_bytes;
};
constexpr size_t kHeaderSize = (sizeof(BlockHeader) + 15) & ~size_t(15);

// Blocks are mapped from the system directly: only the pages that nodes use become resident, and a
// block given back returns all of its memory at once.
BlockHeader* newBlock(size_t bytes)
{
    size_t const reserved = bytes + kBlockSize;
    void* pMapped = mmap(nullptr, reserved, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pMapped == MAP_FAILED)
    {
        throw std::bad_alloc();
    }
    uintptr_t const start = reinterpret_cast<uintptr_t>(pMapped);
    uintptr_t const aligned = (start + kBlockSize - 1) & ~uintptr_t(kBlockSize - 1);
    if (aligned > start)
    {
        munmap(pMapped, aligned - start);
    }
    if (start + reserved > aligned + bytes)
    {
        munmap(reinterpret_cast<void*>(aligned + bytes), start + reserved - (aligned + bytes));
    }
    return new (reinterpret_cast<void*>(aligned)) BlockHeader{{1}, bytes};
}

void dropUser(BlockHeader* pBlock) noexcept
{
    if (pBlock->m_users.fetch_sub(1, std::memory_order_acq_rel) == 1)
    {
        size_t const bytes = pBlock->m_bytes;
        pBlock->~BlockHeader();
        munmap(pBlock, bytes);
    }
}

// The block a thread fills; it gives up its own use of the block when the thread ends.
struct FillingBlock
{
    BlockHeader* m_pBlock = nullptr;
    size_t m_used = 0;

    ~FillingBlock()
    {
        if (m_pBlock != nullptr)
        {
            dropUser(m_pBlock);
        }
    }
};
thread_local FillingBlock t_filling;
#endif
} // namespace

void* PDLCodeStore::allocate(size_t size)
{
#ifdef PDL_CODE_STORE_HEAP
    return ::operator new(size);
#else
    size = (size + 7) & ~size_t(7);
    if (size > kBlockSize / 4)
    {
        // A node too large to share a block gets one of its own, freed with it.
        size_t const bytes = (kHeaderSize + size + kBlockSize - 1) & ~(kBlockSize - 1);
        return reinterpret_cast<char*>(newBlock(bytes)) + kHeaderSize;
    }
    FillingBlock& filling = t_filling;
    if (filling.m_pBlock == nullptr || filling.m_used + size > kBlockSize)
    {
        BlockHeader* pBlock = newBlock(kBlockSize);
        if (filling.m_pBlock != nullptr)
        {
            dropUser(filling.m_pBlock);
        }
        filling.m_pBlock = pBlock;
        filling.m_used = kHeaderSize;
    }
    filling.m_pBlock->m_users.fetch_add(1, std::memory_order_relaxed);
    void* pNode = reinterpret_cast<char*>(filling.m_pBlock) + filling.m_used;
    filling.m_used += size;
    return pNode;
#endif
}

void PDLCodeStore::release(void* pMemory) noexcept
{
    if (pMemory == nullptr)
    {
        return;
    }
#ifdef PDL_CODE_STORE_HEAP
    ::operator delete(pMemory);
#else
    dropUser(
        reinterpret_cast<BlockHeader*>(reinterpret_cast<uintptr_t>(pMemory) & ~uintptr_t(kBlockSize - 1)));
#endif
}

// ---------------------------------------------------------------------------------------------------
// PDLSourceFile

namespace
{
struct SourceFileTable
{
    std::mutex m_mutex;
    // A deque keeps its elements in place as it grows: references handed out stay good.
    std::deque<rtk::Path> m_paths{rtk::Path()};
    std::unordered_map<std::string, uint16_t> m_numbers{{std::string(), 0}};
};

SourceFileTable& sourceFileTable()
{
    // Made on first use and never destroyed: nodes of static lifetime may ask for their file at exit.
    static SourceFileTable* s_pTable = new SourceFileTable();
    return *s_pTable;
}

struct LastSourceFile
{
    rtk::Path m_path;
    uint16_t m_number = 0;
};
thread_local LastSourceFile t_lastSourceFile;
} // namespace

uint16_t PDLSourceFile::numberOf(rtk::Path const& path)
{
    LastSourceFile& last = t_lastSourceFile;
    if (path == last.m_path)
    {
        return last.m_number;
    }
    SourceFileTable& table = sourceFileTable();
    uint16_t number = 0;
    {
        std::lock_guard<std::mutex> lock(table.m_mutex);
        auto it = table.m_numbers.find(path.getString());
        if (it != table.m_numbers.end())
        {
            number = it->second;
        }
        else if (table.m_paths.size() <= 0xFFFF)
        {
            number = static_cast<uint16_t>(table.m_paths.size());
            table.m_paths.push_back(path);
            table.m_numbers.emplace(path.getString(), number);
        }
        else
        {
            number = 0xFFFF;
        }
    }
    last.m_path = path;
    last.m_number = number;
    return number;
}

rtk::Path const& PDLSourceFile::getPath() const
{
    SourceFileTable& table = sourceFileTable();
    std::lock_guard<std::mutex> lock(table.m_mutex);
    return m_number < table.m_paths.size() ? table.m_paths[m_number] : table.m_paths.front();
}

// ---------------------------------------------------------------------------------------------------
// PDLObject

PDLObject::PDLObject()
    : m_pContext(nullptr), m_line(PDLParseInfo::m_line), m_filePath(PDLParseInfo::m_filePath),
      m_noEventRegistration(false)
{
    PDLRunTimeInfo::s_pCurrentObject = this;
}

PDLObject::~PDLObject()
{
    // A report after this node is gone must not read it.
    if (PDLRunTimeInfo::s_pCurrentObject == this)
    {
        PDLRunTimeInfo::s_pCurrentObject = nullptr;
    }
}

void PDLObject::dump() const {}

void PDLObject::print() const {}

void PDLObject::onContextSet() {}

void PDLObject::setContext(PDLContext* pContext, bool noEventRegistration)
{
    m_pContext = pContext;
    m_noEventRegistration = noEventRegistration;
    PDLRunTimeInfo::s_pCurrentObject = this;
    onContextSet();
}

PDLVariable* PDLObject::getVariable(std::string const& name, bool registerEvent)
{
    if (m_pContext == nullptr)
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, "m_pContext", __FILE__, __LINE__);
        return nullptr;
    }
    return m_pContext->getVariable(name, registerEvent && !m_noEventRegistration, false);
}

PDLVariable* PDLObject::getLocalVariable(std::string const& name)
{
    if (m_pContext == nullptr)
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, "m_pContext", __FILE__, __LINE__);
        return nullptr;
    }
    return m_pContext->getLocalVariable(name);
}

PDLWidget* PDLObject::getWidget() const
{
    return m_pContext != nullptr ? m_pContext->getWidget() : nullptr;
}

PDLCommand::PDLCommand(bool registerLine) : m_breakpoint(false)
{
    // Commands are made while a module is parsed; one made outside a load has no line to register.
    if (registerLine && g_pCurrentModule != nullptr)
    {
        g_pCurrentModule->addCommand(m_line, this);
    }
}

PDLCommand::~PDLCommand()
{
    // Commands go away either with their module's content, whose table is emptied with it, or during the
    // parse that made them (a syntax error or a failed check throws them away): then the module being
    // loaded must not keep them under their line.
    if (g_pCurrentModule != nullptr)
    {
        g_pCurrentModule->forgetCommand(m_line, this);
    }
}

void PDLRunTimeInfo::reportMissing(char const* name, char const* file, int line)
{
    report(rtk::LogOutput::eLevelFatal, name, file, line);
}
