// AudioToolbox's component and audio unit calls over the units this
// library provides.
#include <iterator>

#include "AudioToolbox/AudioUnit.h"
#include "HALOutputUnit.h"
#include "VarispeedUnit.h"

namespace {

using qcp::coreaudio::AudioUnitInstance;
using qcp::coreaudio::HALOutputUnit;
using qcp::coreaudio::VarispeedUnit;

enum class Kind { HALOutput, DefaultOutput, Varispeed };

struct Component {
    AudioComponentDescription description;
    Kind kind;
};

const Component kComponents[] = {
    {{kAudioUnitType_Output, kAudioUnitSubType_HALOutput, kAudioUnitManufacturer_Apple, 0, 0}, Kind::HALOutput},
    {{kAudioUnitType_Output, kAudioUnitSubType_DefaultOutput, kAudioUnitManufacturer_Apple, 0, 0},
     Kind::DefaultOutput},
    {{kAudioUnitType_FormatConverter, kAudioUnitSubType_Varispeed, kAudioUnitManufacturer_Apple, 0, 0},
     Kind::Varispeed},
};

AudioUnitInstance* Make(Kind kind) {
    if (kind == Kind::Varispeed) return new VarispeedUnit();
    return new HALOutputUnit(kind == Kind::DefaultOutput);
}

bool Matches(const AudioComponentDescription& wanted, const AudioComponentDescription& have) {
    return (!wanted.componentType || wanted.componentType == have.componentType) &&
           (!wanted.componentSubType || wanted.componentSubType == have.componentSubType) &&
           (!wanted.componentManufacturer || wanted.componentManufacturer == have.componentManufacturer);
}

const Component* ComponentOf(AudioComponent component) {
    const auto* record = reinterpret_cast<const Component*>(component);
    return record >= std::begin(kComponents) && record < std::end(kComponents) ? record : nullptr;
}

AudioUnitInstance* UnitOf(AudioUnit unit) { return reinterpret_cast<AudioUnitInstance*>(unit); }

} // namespace

extern "C" {

AudioComponent AudioComponentFindNext(AudioComponent inComponent, const AudioComponentDescription* inDesc) {
    if (!inDesc) return nullptr;
    const Component* after = ComponentOf(inComponent);
    for (const Component* it = after ? after + 1 : std::begin(kComponents); it != std::end(kComponents); ++it) {
        if (Matches(*inDesc, it->description))
            return reinterpret_cast<AudioComponent>(const_cast<Component*>(it));
    }
    return nullptr;
}

OSStatus AudioComponentGetDescription(AudioComponent inComponent, AudioComponentDescription* outDesc) {
    const Component* component = ComponentOf(inComponent);
    if (!component || !outDesc) return kAudio_ParamError;
    *outDesc = component->description;
    return noErr;
}

OSStatus AudioComponentInstanceNew(AudioComponent inComponent, AudioComponentInstance* outInstance) {
    const Component* component = ComponentOf(inComponent);
    if (!component || !outInstance) return kAudio_ParamError;
    *outInstance = reinterpret_cast<AudioComponentInstance>(Make(component->kind));
    return noErr;
}

OSStatus AudioComponentInstanceDispose(AudioComponentInstance inInstance) {
    if (!inInstance) return kAudio_ParamError;
    delete UnitOf(inInstance);
    return noErr;
}

OSStatus AudioUnitInitialize(AudioUnit inUnit) { return inUnit ? UnitOf(inUnit)->Initialize() : kAudio_ParamError; }

OSStatus AudioUnitUninitialize(AudioUnit inUnit) {
    return inUnit ? UnitOf(inUnit)->Uninitialize() : kAudio_ParamError;
}

OSStatus AudioOutputUnitStart(AudioUnit ci) { return ci ? UnitOf(ci)->Start() : kAudio_ParamError; }

OSStatus AudioOutputUnitStop(AudioUnit ci) { return ci ? UnitOf(ci)->Stop() : kAudio_ParamError; }

OSStatus AudioUnitGetParameter(AudioUnit inUnit, AudioUnitParameterID inID, AudioUnitScope inScope,
                               AudioUnitElement inElement, AudioUnitParameterValue* outValue) {
    if (!inUnit || !outValue) return kAudio_ParamError;
    return UnitOf(inUnit)->GetParameter(inID, inScope, inElement, *outValue);
}

OSStatus AudioUnitSetParameter(AudioUnit inUnit, AudioUnitParameterID inID, AudioUnitScope inScope,
                               AudioUnitElement inElement, AudioUnitParameterValue inValue, UInt32) {
    if (!inUnit) return kAudio_ParamError;
    return UnitOf(inUnit)->SetParameter(inID, inScope, inElement, inValue);
}

OSStatus AudioUnitGetPropertyInfo(AudioUnit inUnit, AudioUnitPropertyID inID, AudioUnitScope inScope,
                                  AudioUnitElement inElement, UInt32* outDataSize, Boolean* outWritable) {
    if (!inUnit) return kAudio_ParamError;
    UInt32 size = 0;
    bool writable = false;
    const OSStatus status = UnitOf(inUnit)->GetPropertyInfo(inID, inScope, inElement, size, writable);
    if (status != noErr) return status;
    if (outDataSize) *outDataSize = size;
    if (outWritable) *outWritable = writable;
    return noErr;
}

OSStatus AudioUnitGetProperty(AudioUnit inUnit, AudioUnitPropertyID inID, AudioUnitScope inScope,
                              AudioUnitElement inElement, void* outData, UInt32* ioDataSize) {
    if (!inUnit || !outData || !ioDataSize) return kAudio_ParamError;
    return UnitOf(inUnit)->GetProperty(inID, inScope, inElement, outData, *ioDataSize);
}

OSStatus AudioUnitSetProperty(AudioUnit inUnit, AudioUnitPropertyID inID, AudioUnitScope inScope,
                              AudioUnitElement inElement, const void* inData, UInt32 inDataSize) {
    if (!inUnit || !inData) return kAudio_ParamError;
    return UnitOf(inUnit)->SetProperty(inID, inScope, inElement, inData, inDataSize);
}

OSStatus AudioUnitRender(AudioUnit inUnit, AudioUnitRenderActionFlags* ioActionFlags,
                         const AudioTimeStamp* inTimeStamp, UInt32 inOutputBusNumber, UInt32 inNumberFrames,
                         AudioBufferList* ioData) {
    if (!inUnit || !inTimeStamp || !ioData) return kAudio_ParamError;
    return UnitOf(inUnit)->Render(ioActionFlags, *inTimeStamp, inOutputBusNumber, inNumberFrames, *ioData);
}
}
