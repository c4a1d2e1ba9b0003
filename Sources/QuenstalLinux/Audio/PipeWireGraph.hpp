#pragma once

#include "QuenstalLinux/Audio/AudioGraph.hpp"
#include "QuenstalLinux/Audio/MetadataQuestion.hpp"
#include "QuenstalLinux/Audio/PipeWireConnection.hpp"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace quenstal {

enum class GraphChange {
    /// Sinks came, went or were told more about, or another one is the default.
    outputs,
    volumes,
    /// Streams came, went, or flow elsewhere.
    streams,
    /// The session manager came or went.
    session,
};

/// A mirror of the server's nodes, cards, routes, links and metadata, kept by the server's own announcements, so that
/// reading never waits. Main thread.
class PipeWireGraph final : private PipeWireConnection::Listener {
public:
    class Observer {
    public:
        virtual void graphChanged(GraphChange change) = 0;

    protected:
        ~Observer() = default;
    };

    /// Both outlive it. The reader is asked once for a new output, and once for each output of a card that changed.
    PipeWireGraph(PipeWireConnection& connection, RunLoop& runLoop, EldReader readEld = systemEldReader());
    ~PipeWireGraph();
    PipeWireGraph(const PipeWireGraph&) = delete;
    PipeWireGraph& operator=(const PipeWireGraph&) = delete;

    const AudioGraph& graph() const { return graph_; }

    /// Whether the session manager is to restore a volume when the output comes again.
    enum class Keep { yes, no };
    /// Through the card's route when the sink has one. False when the sink has gone.
    bool writeVolume(std::uint32_t sink, const AudioVolume& volume, Keep keep = Keep::yes);
    /// Ends an object of the server: a link, or a program's connection.
    void destroy(std::uint32_t id);
    /// Leads sound from a port to another, until one of them has gone: also when this program has.
    void link(std::uint32_t outputPort, std::uint32_t inputPort);
    /// Whether requests for the sink's volume travel through the object with that number on this connection.
    bool writesVolumeThrough(std::uint32_t sink, std::uint32_t proxyID) const;
    /// Whether requests about streams' targets travel through the object with that number on this connection.
    bool setsTargetsThrough(std::uint32_t proxyID) const;
    /// Tells the session manager where the stream should play; none leaves it to the session manager.
    void setStreamTarget(std::uint32_t stream, const std::optional<StreamTarget>& target);

    void addObserver(Observer& observer) { observers_.push_back(&observer); }
    void removeObserver(Observer& observer) { std::erase(observers_, &observer); }

private:
    struct Events;
    template <typename Object>
    struct Bound;

    void connected(pw_core& core) override;
    void disconnected() override;
    void refused(std::uint32_t, int) override { }

    void added(std::uint32_t id, std::string_view type, const AudioProperties& properties);
    void removed(std::uint32_t id);
    void addNode(std::uint32_t id, const AudioProperties& properties);
    void addCard(std::uint32_t id, const AudioProperties& properties);
    void addMetadata(std::uint32_t id, std::string_view name);
    void loseSession();
    void defaultMetadataSet(std::uint32_t subject, const char* key, const char* type, const char* value);
    void askForRoutes();
    void askForDefaultsLater();
    /// What the sound card knows of the monitor behind the sink. Asks the card.
    std::optional<Eld> eldOf(const SinkNode& sink) const;
    /// The card may have learned of another monitor.
    void updateEldsOf(std::uint32_t card);
    void changed(GraphChange change);
    /// Within `ServerLimits`. What is beyond them is told once.
    AudioProperties taken(const spa_dict* dictionary);
    bool hasRoom(std::size_t count, std::size_t limit);
    void tellOfExcess();

    PipeWireConnection& connection_;
    RunLoop& runLoop_;
    const EldReader readEld_;
    AudioGraph graph_;
    std::vector<Observer*> observers_;
    PipeWireHook registryHook_;
    PipeWireProxy<pw_registry> registry_;
    std::map<std::uint32_t, std::unique_ptr<Bound<pw_node>>> sinks_;
    std::map<std::uint32_t, std::unique_ptr<Bound<pw_device>>> cards_;
    /// The session manager's and the server's own metadata; null while they are not there.
    std::unique_ptr<Bound<pw_metadata>> defaults_;
    std::unique_ptr<Bound<pw_metadata>> settings_;
    Cancellation askAgain_;
    Cancellation askLast_;
    MetadataQuestion defaultsQuestion_;
    Cancellation askForDefaults_;
    bool isExcessTold_ = false;
};

} // namespace quenstal
