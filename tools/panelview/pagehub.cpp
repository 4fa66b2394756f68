#include "pagehub.h"

namespace panelview
{
PageHub::PageHub(hwsim::HwPanelModel const& catalogue, std::vector<hwsim::InventoryEntry> const& inventory)
    : m_model(catalogue, inventory)
{
}

bool PageHub::applyLine(std::string const& line, std::string& error)
{
    std::vector<nlohmann::json> events;
    std::lock_guard<std::mutex> guard(m_lock);
    if (!m_model.applyLine(line, events, error))
    {
        ++m_badLines;
        return false;
    }
    publishLocked(events);
    return true;
}

void PageHub::setLinkState(ELinkState state)
{
    std::vector<nlohmann::json> events;
    std::lock_guard<std::mutex> guard(m_lock);
    m_model.setLinkState(state, events);
    publishLocked(events);
}

int PageHub::translateRequest(std::string const& body, std::string& line, std::string& error) const
{
    std::lock_guard<std::mutex> guard(m_lock);
    return panelview::translateRequest(body, m_model, line, error);
}

void PageHub::publishLocked(std::vector<nlohmann::json> const& events)
{
    if (events.empty())
        return;
    for (nlohmann::json const& event : events)
    {
        // Invalid UTF-8 from the core (the link passes bytes from 0x80 as they come) is replaced, not
        // thrown about.
        std::string const text = event.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
        for (std::shared_ptr<Page> const& page : m_pages)
        {
            if (page->m_closed)
                continue;
            if (page->m_queue.size() >= s_maxQueued)
            {
                page->m_closed = true;
                page->m_queue.clear();
                continue;
            }
            page->m_queue.push_back(text);
        }
    }
    m_changed.notify_all();
}

std::shared_ptr<PageHub::Page> PageHub::connect(size_t maxPages)
{
    std::lock_guard<std::mutex> guard(m_lock);
    if (m_stopped || m_pages.size() >= maxPages)
        return nullptr;
    std::shared_ptr<Page> page = std::make_shared<Page>();
    page->m_queue.push_back(m_model.snapshot().dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
    m_pages.push_back(page);
    return page;
}

bool PageHub::next(Page& page, std::string& event, std::chrono::milliseconds wait)
{
    std::unique_lock<std::mutex> lock(m_lock);
    m_changed.wait_for(lock, wait, [&] { return m_stopped || page.m_closed || !page.m_queue.empty(); });
    if (m_stopped || page.m_closed)
        return false;
    event.clear();
    if (!page.m_queue.empty())
    {
        event.swap(page.m_queue.front());
        page.m_queue.pop_front();
    }
    return true;
}

void PageHub::disconnect(std::shared_ptr<Page> const& page)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_pages.remove(page);
}

void PageHub::stop()
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_stopped = true;
    m_changed.notify_all();
}

size_t PageHub::getPageCount() const
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_pages.size();
}

uint64_t PageHub::getBadLineCount() const
{
    std::lock_guard<std::mutex> guard(m_lock);
    return m_badLines;
}
} // namespace panelview
