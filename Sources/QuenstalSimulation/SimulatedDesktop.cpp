#include "QuenstalSimulation/SimulatedDesktop.hpp"

#include <utility>

namespace quenstal {

class SimulatedDesktop::Item final : public StatusItem {
public:
    explicit Item(SimulatedDesktop& desktop)
        : desktop_(desktop)
    {
    }
    ~Item() override
    {
        desktop_.handler_ = nullptr;
        desktop_.appearance_.reset();
    }

    void setAppearance(const StatusButtonAppearance& appearance) override { desktop_.appearance_ = appearance; }
    bool isPlaced() override { return desktop_.isPlaced_; }
    std::optional<Rect> frame() override { return desktop_.isPlaced_ ? desktop_.statusItemFrame_ : std::nullopt; }

private:
    SimulatedDesktop& desktop_;
};

class SimulatedDesktop::Panel final : public PanelWindow {
public:
    explicit Panel(SimulatedDesktop& desktop)
        : desktop_(desktop)
    {
    }
    ~Panel() override { orderOut(); }

    bool isVisible() override { return desktop_.isPanelVisible_; }
    Rect frame() override { return desktop_.panelFrame_; }
    void setFrame(const Rect& frame) override { desktop_.panelFrame_ = frame; }
    void orderFrontRegardless() override { desktop_.isPanelVisible_ = true; }
    void makeKey() override { desktop_.panelHasKeyboard_ = true; }
    void orderOut() override
    {
        desktop_.isPanelVisible_ = false;
        desktop_.panelHasKeyboard_ = false;
    }

private:
    SimulatedDesktop& desktop_;
};

SimulatedDesktop::SimulatedDesktop()
    : statusItemFrame_(Rect{1000, 0, 24, 24})
    , screens_({{{0, 0, 1440, 900}, {0, 24, 1440, 876}}})
{
}

std::unique_ptr<StatusItem> SimulatedDesktop::createStatusItem(StatusItemHandler& handler)
{
    handler_ = &handler;
    return std::make_unique<Item>(*this);
}

std::unique_ptr<PanelWindow> SimulatedDesktop::createPanel(const PanelSettings& settings)
{
    panelFrame_ = settings.contentRect;
    return std::make_unique<Panel>(*this);
}

Cancellation SimulatedDesktop::addLocalKeyDownMonitor(std::function<bool(const KeyEvent&)> handler)
{
    return keyMonitors_.add(std::move(handler));
}

Cancellation SimulatedDesktop::addGlobalMouseMonitor(std::uint32_t mask, std::function<void()> handler)
{
    mouseMask_ = mask;
    return mouseMonitors_.add(std::move(handler));
}

void SimulatedDesktop::showAlert(const Alert& alert, std::function<void(AlertResponse)> answered)
{
    alert_ = alert;
    alertAnswered_ = std::move(answered);
}

void SimulatedDesktop::showNotice(std::string_view title, std::string_view text)
{
    notices_.push_back(std::string(title) + ": " + std::string(text));
}

bool SimulatedDesktop::open(std::string_view url)
{
    openedAddresses_.emplace_back(url);
    return true;
}

bool SimulatedDesktop::pressKey(const KeyEvent& event)
{
    const auto monitor = keyMonitors_.newest();
    return panelHasKeyboard_ && !alert_ && monitor && monitor(event);
}

void SimulatedDesktop::clickOutside()
{
    mouseMonitors_.call();
}

void SimulatedDesktop::clickStatusItem()
{
    if (handler_)
        handler_->statusItemActivated(std::nullopt);
}

void SimulatedDesktop::middleClickStatusItem()
{
    if (handler_)
        handler_->statusItemSecondaryActivated();
}

void SimulatedDesktop::scrollStatusItem(int notches)
{
    if (handler_)
        handler_->statusItemScrolled(notches);
}

void SimulatedDesktop::chooseOpenInMenu()
{
    if (handler_)
        handler_->statusItemOpenChosen();
}

void SimulatedDesktop::chooseQuitInMenu()
{
    if (handler_)
        handler_->statusItemQuitChosen();
}

void SimulatedDesktop::answerAlert(AlertResponse response)
{
    alert_.reset();
    const auto answered = std::exchange(alertAnswered_, nullptr);
    if (answered)
        answered(response);
}

} // namespace quenstal
