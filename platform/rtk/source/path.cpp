#include "rtk/path.h"

#include <cerrno>
#include <cstdlib>
#include <unistd.h>
#include <vector>

namespace rtk
{
namespace
{
std::vector<std::string> splitElements(std::string const& text)
{
    std::vector<std::string> elements;
    size_t start = 0;
    while (start <= text.size())
    {
        size_t end = text.find('/', start);
        if (end == std::string::npos)
            end = text.size();
        if (end > start)
            elements.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return elements;
}
} // namespace

Path::Shared* Path::share(std::string const& text)
{
    return text.empty() ? nullptr : new Shared{{1}, text};
}

std::string const& Path::emptyText()
{
    // Never destroyed: paths may still be read while static objects go away at exit.
    static std::string const* const s_pEmpty = new std::string();
    return *s_pEmpty;
}

void Path::release() noexcept
{
    if (m_pShared != nullptr && m_pShared->m_references.fetch_sub(1, std::memory_order_acq_rel) == 1)
    {
        delete m_pShared;
    }
    m_pShared = nullptr;
}

void Path::assign(std::string const& text)
{
    Shared* pNew = share(text);
    release();
    m_pShared = pNew;
}

void Path::fixNotFullQualified()
{
    if (isEmpty())
        return;
    std::string const current = getString();
    bool const absolute = isAbsolute();
    std::vector<std::string> const elements = splitElements(current);
    std::vector<std::string> result;
    for (size_t i = 0; i < elements.size(); ++i)
    {
        std::string const& element = elements[i];
        bool const last = (i + 1 == elements.size());
        if (last)
        {
            result.push_back(element);
            break;
        }
        if (element == ".")
            continue;
        if (element == "..")
        {
            if (!result.empty() && result.back() != "..")
            {
                result.pop_back();
                continue;
            }
            if (absolute)
                continue; // "/.." is "/"
        }
        result.push_back(element);
    }
    std::string text = absolute ? "/" : "";
    for (size_t i = 0; i < result.size(); ++i)
    {
        if (i > 0)
            text += '/';
        text += result[i];
    }
    assign(text);
}

void Path::cutBack()
{
    std::string text = getString();
    size_t end = text.size();
    while (end > 1 && text[end - 1] == '/')
        --end;
    size_t const slash = text.rfind('/', end == 0 ? 0 : end - 1);
    if (slash == std::string::npos)
    {
        assign(std::string());
        return;
    }
    size_t keep = slash;
    while (keep > 0 && text[keep - 1] == '/')
        --keep;
    text.resize(keep == 0 ? 1 : keep); // keep the root of an absolute path
    assign(text);
}

Path& Path::append(std::string const& element)
{
    if (isEmpty())
    {
        assign(element);
        return *this;
    }
    if (element.empty())
        return *this;
    std::string text = getString();
    bool const endsWithSeparator = text.back() == '/';
    bool const startsWithSeparator = element.front() == '/';
    if (endsWithSeparator && startsWithSeparator)
        text.append(element, 1, std::string::npos);
    else if (endsWithSeparator || startsWithSeparator)
        text += element;
    else
        text += '/' + element;
    assign(text);
    return *this;
}

Path Path::operator+(std::string const& element) const
{
    Path result(*this);
    result.append(element);
    return result;
}

std::string Path::getLastElement() const
{
    std::string const& text = getString();
    size_t end = text.size();
    while (end > 0 && text[end - 1] == '/')
        --end;
    size_t const slash = end == 0 ? std::string::npos : text.rfind('/', end - 1);
    size_t const start = slash == std::string::npos ? 0 : slash + 1;
    return text.substr(start, end - start);
}

Path Path::getTempDirPath()
{
    char const* pDir = std::getenv("TMPDIR");
    if (pDir != nullptr && pDir[0] != '\0')
        return Path(pDir);
    return Path("/tmp");
}

Path Path::getCurrentDirectory()
{
    std::vector<char> buffer(256);
    while (getcwd(buffer.data(), buffer.size()) == nullptr)
    {
        if (errno != ERANGE || buffer.size() > 65536)
            return Path();
        buffer.resize(buffer.size() * 2);
    }
    return Path(buffer.data());
}

bool Path::setCurrentDirectory(Path const& path)
{
    return !path.isEmpty() && chdir(path.c_str()) == 0;
}
} // namespace rtk
