#pragma once

#include <memory>

class QGuiApplication;
class QTranslator;

namespace quenstal {

/// The toolkit's application object, made for a small program in the tray: it draws without a graphics processor and
/// keeps running without windows. One per process, made before anything else of the toolkit. Main thread.
class QtToolkit {
public:
    /// A bus that has not greeted is hidden from the toolkit, which would wait for it.
    enum class SessionBusState { hasGreeted, isSilent };

    /// Removes the toolkit's own arguments from the list. Both must outlive the toolkit.
    QtToolkit(int& argc, char** argv, SessionBusState bus = SessionBusState::hasGreeted);
    ~QtToolkit();
    QtToolkit(const QtToolkit&) = delete;
    QtToolkit& operator=(const QtToolkit&) = delete;

    /// Runs the main loop until the desktop terminates it.
    int run();

private:
    std::unique_ptr<QGuiApplication> application_;
    std::unique_ptr<QTranslator> texts_;
};

} // namespace quenstal
