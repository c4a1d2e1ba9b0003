#pragma once

#include <memory>

class QGuiApplication;
class QTranslator;

namespace quenstal {

/// The toolkit's application object, made for a small program in the tray: it draws without a graphics processor and
/// goes on without windows. One a process, before anything else of the toolkit. Main thread.
class QtToolkit {
public:
    /// Takes its own arguments out of the list. Both must outlive the toolkit.
    QtToolkit(int& argc, char** argv);
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
