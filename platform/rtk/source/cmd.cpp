#include "rtk/cmd.h"

#include <iostream>

namespace rtk
{
namespace
{
// Handlers of this thread now running: code that would wait for the shell must not wait on it.
thread_local int s_commandDepth = 0;
} // namespace

CmdParameters::CmdParameters(std::string const& line) : m_line(line)
{
    std::vector<std::string> words = split(line);
    if (!words.empty())
    {
        m_name = words.front();
        m_arguments.assign(words.begin() + 1, words.end());
    }
}

std::string const& CmdParameters::get(size_t i) const
{
    static std::string const s_empty;
    return i < m_arguments.size() ? m_arguments[i] : s_empty;
}

std::vector<std::string> CmdParameters::split(std::string const& line)
{
    std::vector<std::string> words;
    std::string word;
    bool inWord = false;
    bool quoted = false;
    for (char const ch : line)
    {
        if (ch == '"')
        {
            quoted = !quoted;
            inWord = true; // "" stands for an empty word
        }
        else if (!quoted && (ch == ' ' || ch == '\t' || ch == '\r' || ch == '\n'))
        {
            if (inWord)
                words.push_back(word);
            word.clear();
            inWord = false;
        }
        else
        {
            word += ch;
            inWord = true;
        }
    }
    if (inWord)
        words.push_back(word); // an unclosed quote runs to the end of the line
    return words;
}

// ------------------------------------------------------------------------------------------------

CmdProcessor* CmdProcessor::getInstance()
{
    // Never destroyed: owners unregister in their destructors, which may run at any time up to exit.
    static CmdProcessor* s_pInstance = new CmdProcessor;
    return s_pInstance;
}

CmdProcessor::CmdProcessor()
{
    registerCmd("help", "help [<command>]\n\tlist all commands, or show the help of one command", this,
                &CmdProcessor::shellCmdHelp);
}

void CmdProcessor::registerCmd(std::string const& name, std::string const& help, CmdRegister* pCmd)
{
    std::shared_ptr<CmdRegister> pShared(pCmd);
    if (name.empty() || pCmd == nullptr)
        return;
    std::lock_guard<std::mutex> lock(m_lock);
    Entry& entry = m_commands[name];
    entry.m_help = help;
    entry.m_pCmd = pShared;
}

void CmdProcessor::unregisterCmd(std::string const& name)
{
    std::shared_ptr<CmdRegister> pDropped; // deleted after the lock is released
    std::lock_guard<std::mutex> lock(m_lock);
    auto it = m_commands.find(name);
    if (it != m_commands.end())
    {
        pDropped = it->second.m_pCmd;
        m_commands.erase(it);
    }
}

void CmdProcessor::unregisterOwner(void const* pOwner)
{
    if (pOwner == nullptr)
        return;
    std::vector<std::shared_ptr<CmdRegister>> dropped;
    std::lock_guard<std::mutex> lock(m_lock);
    for (auto it = m_commands.begin(); it != m_commands.end();)
    {
        if (it->second.m_pCmd->getOwner() == pOwner)
        {
            dropped.push_back(it->second.m_pCmd);
            it = m_commands.erase(it);
        }
        else
        {
            ++it;
        }
    }
}

bool CmdProcessor::execute(std::string const& line)
{
    CmdParameters parameters(line);
    if (parameters.getName().empty())
        return true;
    std::shared_ptr<CmdRegister> pCmd;
    {
        std::lock_guard<std::mutex> lock(m_lock);
        auto it = m_commands.find(parameters.getName());
        if (it != m_commands.end())
            pCmd = it->second.m_pCmd;
    }
    if (!pCmd)
    {
        std::cout << "Unknown command \"" << parameters.getName() << "\", try help" << std::endl;
        return false;
    }
    struct Depth
    {
        Depth() { ++s_commandDepth; }
        ~Depth() { --s_commandDepth; }
    } const depth;
    return pCmd->execute(parameters);
}

bool CmdProcessor::isCommandThread()
{
    return s_commandDepth > 0;
}

bool CmdProcessor::hasCommand(std::string const& name) const
{
    std::lock_guard<std::mutex> lock(m_lock);
    return m_commands.count(name) != 0;
}

std::vector<std::string> CmdProcessor::getCommandNames() const
{
    std::vector<std::string> names;
    std::lock_guard<std::mutex> lock(m_lock);
    for (auto const& entry : m_commands)
        names.push_back(entry.first);
    return names;
}

std::string CmdProcessor::getHelp(std::string const& name) const
{
    std::lock_guard<std::mutex> lock(m_lock);
    auto it = m_commands.find(name);
    return it != m_commands.end() ? it->second.m_help : std::string();
}

bool CmdProcessor::shellCmdHelp(CmdParameters& parameters)
{
    if (parameters.getCount() > 0)
    {
        std::string const& name = parameters.get(0);
        if (!hasCommand(name))
        {
            std::cout << "Unknown command \"" << name << "\", try help" << std::endl;
            return false;
        }
        std::cout << getHelp(name) << std::endl;
        return true;
    }
    std::vector<std::pair<std::string, std::string>> lines;
    {
        std::lock_guard<std::mutex> lock(m_lock);
        for (auto const& entry : m_commands)
            lines.emplace_back(entry.first, entry.second.m_help.substr(0, entry.second.m_help.find('\n')));
    }
    for (auto const& line : lines)
    {
        // Help texts start with a usage line that names the command; others get the name ahead.
        std::string const& name = line.first;
        std::string const& first = line.second;
        bool const named = first.compare(0, name.size(), name) == 0 &&
                           (first.size() == name.size() || first[name.size()] == ' ');
        if (named)
            std::cout << first << std::endl;
        else if (first.empty())
            std::cout << name << std::endl;
        else
            std::cout << name << " - " << first << std::endl;
    }
    return true;
}
} // namespace rtk
