#include "Ladspa.hpp"

#include <algorithm>

#include <dlfcn.h>

namespace quenstal {

namespace {

// The plug-in interface, field by field.

using Handle = void*;

constexpr int isInput = 0x1;
constexpr int isAudio = 0x8;

struct PortRangeHint {
    int hint;
    float lower;
    float upper;
};

struct Descriptor {
    unsigned long uniqueID;
    const char* label;
    int properties;
    const char* name;
    const char* maker;
    const char* copyright;
    unsigned long portCount;
    const int* ports;
    const char* const* portNames;
    const PortRangeHint* hints;
    void* implementation;
    Handle (*instantiate)(const Descriptor*, unsigned long sampleRate);
    void (*connectPort)(Handle, unsigned long port, float* place);
    void (*activate)(Handle);
    void (*run)(Handle, unsigned long frames);
    void (*runAdding)(Handle, unsigned long frames);
    void (*setRunAddingGain)(Handle, float);
    void (*deactivate)(Handle);
    void (*cleanup)(Handle);
};

using DescriptorFunction = const Descriptor* (*)(unsigned long index);

const Descriptor* findDescriptor(void* library, const std::string& label)
{
    const auto function = reinterpret_cast<DescriptorFunction>(dlsym(library, "ladspa_descriptor"));
    if (!function)
        return nullptr;
    for (unsigned long i = 0; const Descriptor* descriptor = function(i); ++i) {
        if (descriptor->label == label)
            return descriptor;
    }
    return nullptr;
}

class Instance {
public:
    Instance(const Descriptor& descriptor, const std::vector<std::pair<std::string, float>>& controls)
        : descriptor_(descriptor)
        , values_(descriptor.portCount, 0)
        , handle_(descriptor.instantiate(&descriptor, 48000))
    {
        for (unsigned long port = 0; port < descriptor.portCount; ++port) {
            const std::string name = descriptor.portNames[port];
            const auto given = std::ranges::find(controls, name, &std::pair<std::string, float>::first);
            if (given != controls.end())
                values_[port] = given->second;
            descriptor.connectPort(handle_, port, &values_[port]);
        }
    }
    ~Instance()
    {
        if (descriptor_.deactivate)
            descriptor_.deactivate(handle_);
        descriptor_.cleanup(handle_);
    }
    Instance(const Instance&) = delete;
    Instance& operator=(const Instance&) = delete;

    /// Connects the audio ports in their order and starts.
    void start(std::vector<float*> inputs, std::vector<float*> outputs)
    {
        for (unsigned long port = 0; port < descriptor_.portCount; ++port) {
            if (!(descriptor_.ports[port] & isAudio))
                continue;
            auto& places = descriptor_.ports[port] & isInput ? inputs : outputs;
            if (places.empty())
                continue;
            descriptor_.connectPort(handle_, port, places.front());
            places.erase(places.begin());
        }
        if (descriptor_.activate)
            descriptor_.activate(handle_);
    }

    void run(unsigned long frames) { descriptor_.run(handle_, frames); }

private:
    const Descriptor& descriptor_;
    std::vector<float> values_;
    Handle handle_;
};

class Equalizer final : public LadspaEqualizer {
public:
    Equalizer(const Descriptor& descriptor, const LadspaChoice& choice, float* (&input)[2], float* (&output)[2])
    {
        const auto add = [&](std::vector<float*> inputs, std::vector<float*> outputs) {
            instances_.push_back(std::make_unique<Instance>(descriptor, choice.controls));
            instances_.back()->start(std::move(inputs), std::move(outputs));
        };
        if (choice.stereo) {
            add({input[0], input[1]}, {output[0], output[1]});
        } else {
            add({input[0]}, {output[0]});
            add({input[1]}, {output[1]});
        }
    }

    void run(unsigned long frames) override
    {
        for (const auto& instance : instances_)
            instance->run(frames);
    }

private:
    std::vector<std::unique_ptr<Instance>> instances_;
};

} // namespace

std::unique_ptr<LadspaEqualizer> loadLadspa(
    const LadspaChoice& choice, float* (&input)[2], float* (&output)[2], std::string& reason)
{
    // Stays loaded: plug-ins leave threads and handlers behind.
    void* const library = dlopen(choice.file.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (!library) {
        reason = choice.file + " is not installed";
        return nullptr;
    }
    const Descriptor* const descriptor = findDescriptor(library, choice.label);
    if (!descriptor) {
        reason = choice.file + " has no " + choice.label;
        return nullptr;
    }
    return std::make_unique<Equalizer>(*descriptor, choice, input, output);
}

} // namespace quenstal
