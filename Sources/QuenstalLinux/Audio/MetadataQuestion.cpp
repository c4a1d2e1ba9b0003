#include "QuenstalLinux/Audio/MetadataQuestion.hpp"

#include <cerrno>
#include <utility>

namespace quenstal {

struct MetadataQuestion::Events {
    static void error(void* data, std::uint32_t id, int, int status, const char*)
    {
        if (id == PW_ID_CORE && status == -EPIPE)
            static_cast<MetadataQuestion*>(data)->isLost_ = true;
    }
    static int property(void* data, std::uint32_t subject, const char* key, const char* type, const char* value)
    {
        static_cast<MetadataQuestion*>(data)->answer_(subject, key, type, value);
        return 0;
    }

    static constexpr pw_core_events core = [] {
        pw_core_events events{};
        events.version = PW_VERSION_CORE_EVENTS;
        events.error = error;
        return events;
    }();
    static constexpr pw_metadata_events metadata{PW_VERSION_METADATA_EVENTS, property};
};

MetadataQuestion::MetadataQuestion(PipeWireConnection& connection, Answer answer)
    : connection_(connection)
    , answer_(std::move(answer))
{
}

MetadataQuestion::~MetadataQuestion() = default;

void MetadataQuestion::connect()
{
    core_ = connection_.connectAgain();
    if (!core_)
        return;
    pw_core_add_listener(core_.get(), &coreHook_, &Events::core, this);
    registry_.reset(pw_core_get_registry(core_.get(), PW_VERSION_REGISTRY, 0));
}

void MetadataQuestion::ask(std::uint32_t metadata)
{
    if (isLost_)
        disconnect();
    if (!core_)
        connect();
    if (!core_)
        return;
    metadata_.reset(static_cast<pw_metadata*>(
        pw_registry_bind(registry_.get(), metadata, PW_TYPE_INTERFACE_Metadata, PW_VERSION_METADATA, 0)));
    pw_metadata_add_listener(metadata_.get(), &metadataHook_, &Events::metadata, this);
}

void MetadataQuestion::disconnect()
{
    metadata_.reset();
    registry_.reset();
    core_.reset();
    isLost_ = false;
}

} // namespace quenstal
