#ifndef PANELVIEW_PAGEHUB_H
#define PANELVIEW_PAGEHUB_H

// PageHub: the panel model shared by every open page. Lines from the core and changes of the link are
// applied to the model and their page events queued, as serialised JSON, for every connected page at
// once; a page that connects gets a snapshot first and then exactly the events after it (both happen
// under one lock). A page that falls too far behind is dropped: its browser reconnects and starts again
// from a snapshot.

#include "panelmodel.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <list>
#include <memory>
#include <mutex>
#include <string>

namespace panelview
{
class PageHub
{
public:
    // One connected page: its queue of serialised events.
    class Page
    {
    private:
        friend class PageHub;
        std::deque<std::string> m_queue;
        bool m_closed = false;
    };

    // Events a page may have waiting before it is dropped.
    static size_t const s_maxQueued = 20000;

    PageHub(hwsim::HwPanelModel const& catalogue, std::vector<hwsim::InventoryEntry> const& inventory);

    // A line from the core; false (with the reason) for a malformed one, which changes nothing.
    bool applyLine(std::string const& line, std::string& error);
    void setLinkState(ELinkState state);
    // The link line for a page request (see translateRequest).
    int translateRequest(std::string const& body, std::string& line, std::string& error) const;

    // A new page, with the snapshot queued; null once the hub is stopped or when maxPages are connected.
    std::shared_ptr<Page> connect(size_t maxPages);
    // The page's next event, waiting up to wait for one: true with the event, true with an empty text
    // when the wait ended without one, false when the page was dropped or the hub stopped.
    bool next(Page& page, std::string& event, std::chrono::milliseconds wait);
    void disconnect(std::shared_ptr<Page> const& page);
    // Ends every page's wait for good.
    void stop();

    size_t getPageCount() const;
    uint64_t getBadLineCount() const;

private:
    void publishLocked(std::vector<nlohmann::json> const& events);

    mutable std::mutex m_lock;
    std::condition_variable m_changed;
    PanelModel m_model;
    std::list<std::shared_ptr<Page>> m_pages;
    bool m_stopped = false;
    uint64_t m_badLines = 0;
};
} // namespace panelview

#endif
