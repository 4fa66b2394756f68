#ifndef RTK_CMD_H
#define RTK_CMD_H

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace rtk
{
// A command line split into the command name and its arguments. Blanks and tabs separate; double
// quotes group text with blanks into one argument and are removed ("" is an empty argument).
class CmdParameters
{
public:
    explicit CmdParameters(std::string const& line);

    std::string const& getName() const { return m_name; }
    // Arguments without the name.
    size_t getCount() const { return m_arguments.size(); }
    // Argument i, 0-based; an empty text when out of range.
    std::string const& get(size_t i) const;
    std::string const& operator[](size_t i) const { return get(i); }
    std::string const& getLine() const { return m_line; }

    static std::vector<std::string> split(std::string const& line);

private:
    std::string m_line;
    std::string m_name;
    std::vector<std::string> m_arguments;
};

// A registered command handler.
class CmdRegister
{
public:
    virtual ~CmdRegister() {}
    virtual bool execute(CmdParameters& parameters) = 0;
    // The object the handler belongs to (for unregisterOwner); null when none.
    virtual void const* getOwner() const { return nullptr; }
};

template <class T>
class CmdRegisterImpl : public CmdRegister
{
public:
    typedef bool (T::*Handler)(CmdParameters&);

    CmdRegisterImpl(T* pObject, Handler handler) : m_pObject(pObject), m_handler(handler) {}

    bool execute(CmdParameters& parameters) override { return (m_pObject->*m_handler)(parameters); }
    void const* getOwner() const override { return m_pObject; }

private:
    T* m_pObject;
    Handler m_handler;
};

// The shell's command registry. One instance per process, created at first use and never destroyed,
// so owners may unregister in their destructors at any time. Handlers print on std::cout.
class CmdProcessor
{
public:
    static CmdProcessor* getInstance();

    // Takes ownership of pCmd; a registration under an existing name replaces it.
    void registerCmd(std::string const& name, std::string const& help, CmdRegister* pCmd);
    template <class T>
    void registerCmd(std::string const& name, std::string const& help, T* pObject,
                     bool (T::*handler)(CmdParameters&))
    {
        registerCmd(name, help, new CmdRegisterImpl<T>(pObject, handler));
    }
    void unregisterCmd(std::string const& name);
    // Drops every command whose handler belongs to pOwner.
    void unregisterOwner(void const* pOwner);

    // Runs the command of the line and returns the handler's result. A blank line does nothing and
    // gives true; an unknown name prints "Unknown command "NAME", try help" and gives false. The
    // registry is not locked while a handler runs.
    bool execute(std::string const& line);
    // True on a thread that is running a command handler: whatever waits for the shell must not wait
    // on the shell's own thread.
    static bool isCommandThread();

    bool hasCommand(std::string const& name) const;
    std::vector<std::string> getCommandNames() const;
    // The help text of a command; empty when there is no such command.
    std::string getHelp(std::string const& name) const;

private:
    struct Entry
    {
        std::string m_help;
        std::shared_ptr<CmdRegister> m_pCmd;
    };

    CmdProcessor();
    CmdProcessor(CmdProcessor const&) = delete;
    CmdProcessor& operator=(CmdProcessor const&) = delete;

    bool shellCmdHelp(CmdParameters& parameters);

    mutable std::mutex m_lock;
    std::map<std::string, Entry> m_commands;
};
} // namespace rtk

#endif
