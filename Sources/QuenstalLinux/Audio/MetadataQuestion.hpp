#pragma once

#include "QuenstalLinux/Audio/PipeWireConnection.hpp"

#include <cstdint>
#include <functional>

namespace quenstal {

/// Has the server tell an object of metadata anew. A change may have been missed: while the server waits for the
/// session manager's answer to one program that asks, it tells changes to that program alone. Main thread.
///
/// It asks over a connection of its own. Until the session manager has answered, the server reads nothing more from
/// the connection that asked; and nothing more from the session manager while that waits for a stream's answer. With
/// streams on the same connection each could wait for the other, and the sound of the whole desktop with them.
class MetadataQuestion {
public:
    /// A property, as the server tells it; see `pw_metadata_events`.
    using Answer = std::function<void(std::uint32_t subject, const char* key, const char* type, const char* value)>;

    /// The connection outlives it.
    MetadataQuestion(PipeWireConnection& connection, Answer answer);
    ~MetadataQuestion();
    MetadataQuestion(const MetadataQuestion&) = delete;
    MetadataQuestion& operator=(const MetadataQuestion&) = delete;

    /// Opens the connection, which the server announces like any program's. Nothing happens while the server is away.
    void connect();
    /// Every property is told again, some turns later, and then every change until the next question. Connects first
    /// when that has not been done, or when the server has closed the connection.
    void ask(std::uint32_t metadata);
    /// Nothing more is told of what was asked.
    void withdraw() { metadata_.reset(); }
    /// Closes the connection: the server has gone.
    void disconnect();

private:
    struct Events;

    PipeWireConnection& connection_;
    const Answer answer_;
    PipeWireHook coreHook_;
    PipeWireHook metadataHook_;
    PipeWireCore core_;
    PipeWireProxy<pw_registry> registry_;
    PipeWireProxy<pw_metadata> metadata_;
    /// The server has closed this connection.
    bool isLost_ = false;
};

} // namespace quenstal
