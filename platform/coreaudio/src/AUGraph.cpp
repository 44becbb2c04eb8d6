// AudioToolbox's graph over the audio unit calls: a connection is the
// destination's render callback pulling AudioUnitRender of the source.
#include "AudioToolbox/AUGraph.h"

#include <algorithm>
#include <list>
#include <mutex>
#include <vector>

namespace {

struct Node {
    AUNode id;
    AudioComponentDescription description;
    AudioUnit unit = nullptr;
};

struct Connection {
    AUNode source;
    UInt32 sourceBus;
    AUNode dest;
    UInt32 destBus;
    AudioUnit sourceUnit = nullptr; // while the graph is initialised
};

struct Graph {
    std::mutex mutex; // one call at a time
    std::vector<Node> nodes;
    std::list<Connection> connections; // stable: each is a render callback's reference
    AUNode nextNode = 1;
    bool open = false;
    bool initialized = false;

    Node* Find(AUNode id) {
        auto found = std::find_if(nodes.begin(), nodes.end(), [id](const Node& n) { return n.id == id; });
        return found == nodes.end() ? nullptr : &*found;
    }
    Node* OutputNode() {
        auto found = std::find_if(nodes.begin(), nodes.end(), [](const Node& n) {
            return n.description.componentType == kAudioUnitType_Output;
        });
        return found == nodes.end() ? nullptr : &*found;
    }
};

Graph* GraphOf(AUGraph graph) { return reinterpret_cast<Graph*>(graph); }

OSStatus Pull(void* ref, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time, UInt32, UInt32 frames,
              AudioBufferList* data) {
    const auto* connection = static_cast<const Connection*>(ref);
    return AudioUnitRender(connection->sourceUnit, flags, time, connection->sourceBus, frames, data);
}

OSStatus SetCallback(AudioUnit unit, UInt32 bus, AURenderCallbackStruct callback) {
    return AudioUnitSetProperty(unit, kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, bus, &callback,
                                sizeof callback);
}

// Makes the destination pull the source, in the source's output format.
OSStatus Apply(Graph& graph, Connection& connection) {
    const Node* source = graph.Find(connection.source);
    const Node* dest = graph.Find(connection.dest);
    AudioStreamBasicDescription format{};
    UInt32 size = sizeof format;
    if (const OSStatus status = AudioUnitGetProperty(source->unit, kAudioUnitProperty_StreamFormat,
                                                     kAudioUnitScope_Output, connection.sourceBus, &format, &size))
        return status;
    if (const OSStatus status = AudioUnitSetProperty(dest->unit, kAudioUnitProperty_StreamFormat,
                                                     kAudioUnitScope_Input, connection.destBus, &format, size))
        return status;
    connection.sourceUnit = source->unit;
    return SetCallback(dest->unit, connection.destBus, {&Pull, &connection});
}

// Stops pulling through `connection`: its destination has no source.
void Detach(Graph& graph, const Connection& connection) {
    if (const Node* dest = graph.Find(connection.dest); dest && dest->unit)
        SetCallback(dest->unit, connection.destBus, {nullptr, nullptr});
}

OSStatus Stop(Graph& graph) {
    const Node* output = graph.OutputNode();
    return output && output->unit ? AudioOutputUnitStop(output->unit) : noErr;
}

void Uninitialize(Graph& graph) {
    if (!graph.initialized) return;
    Stop(graph);
    for (const Node& node : graph.nodes) AudioUnitUninitialize(node.unit);
    graph.initialized = false;
}

void Close(Graph& graph) {
    Uninitialize(graph);
    for (Node& node : graph.nodes) {
        if (node.unit) AudioComponentInstanceDispose(node.unit);
        node.unit = nullptr;
    }
    graph.open = false;
}

template <class Body>
OSStatus WithGraph(AUGraph inGraph, Body body) {
    if (!inGraph) return kAudio_ParamError;
    Graph& graph = *GraphOf(inGraph);
    std::lock_guard lock(graph.mutex);
    return body(graph);
}

} // namespace

extern "C" {

OSStatus NewAUGraph(AUGraph* outGraph) {
    if (!outGraph) return kAudio_ParamError;
    *outGraph = reinterpret_cast<AUGraph>(new Graph());
    return noErr;
}

OSStatus DisposeAUGraph(AUGraph inGraph) {
    if (!inGraph) return kAudio_ParamError;
    Graph* graph = GraphOf(inGraph);
    {
        std::lock_guard lock(graph->mutex);
        Close(*graph);
    }
    delete graph;
    return noErr;
}

OSStatus AUGraphAddNode(AUGraph inGraph, const AudioComponentDescription* inDescription, AUNode* outNode) {
    if (!inDescription || !outNode) return kAudio_ParamError;
    return WithGraph(inGraph, [&](Graph& graph) -> OSStatus {
        AudioComponent component = AudioComponentFindNext(nullptr, inDescription);
        if (!component) return kAUGraphErr_InvalidAudioUnit;
        if (inDescription->componentType == kAudioUnitType_Output && graph.OutputNode())
            return kAUGraphErr_OutputNodeErr;
        Node node{graph.nextNode, *inDescription};
        if (graph.open) {
            if (const OSStatus status = AudioComponentInstanceNew(component, &node.unit)) return status;
        }
        graph.nodes.push_back(node);
        *outNode = graph.nextNode++;
        return noErr;
    });
}

OSStatus AUGraphRemoveNode(AUGraph inGraph, AUNode inNode) {
    return WithGraph(inGraph, [&](Graph& graph) -> OSStatus {
        Node* node = graph.Find(inNode);
        if (!node) return kAUGraphErr_NodeNotFound;
        if (graph.initialized) return kAUGraphErr_CannotDoInCurrentContext;
        std::erase_if(graph.connections, [&](const Connection& c) {
            const bool involved = c.source == inNode || c.dest == inNode;
            if (involved) Detach(graph, c);
            return involved;
        });
        if (node->unit) AudioComponentInstanceDispose(node->unit);
        std::erase_if(graph.nodes, [&](const Node& n) { return n.id == inNode; });
        return noErr;
    });
}

OSStatus AUGraphNodeInfo(AUGraph inGraph, AUNode inNode, AudioComponentDescription* outDescription,
                         AudioUnit* outAudioUnit) {
    return WithGraph(inGraph, [&](Graph& graph) -> OSStatus {
        const Node* node = graph.Find(inNode);
        if (!node) return kAUGraphErr_NodeNotFound;
        if (outDescription) *outDescription = node->description;
        if (outAudioUnit) *outAudioUnit = node->unit;
        return noErr;
    });
}

OSStatus AUGraphOpen(AUGraph inGraph) {
    return WithGraph(inGraph, [&](Graph& graph) -> OSStatus {
        if (graph.open) return noErr;
        for (Node& node : graph.nodes) {
            const OSStatus status =
                AudioComponentInstanceNew(AudioComponentFindNext(nullptr, &node.description), &node.unit);
            if (status != noErr) {
                Close(graph);
                return status;
            }
        }
        graph.open = true;
        return noErr;
    });
}

OSStatus AUGraphClose(AUGraph inGraph) {
    return WithGraph(inGraph, [&](Graph& graph) {
        Close(graph);
        return noErr;
    });
}

OSStatus AUGraphConnectNodeInput(AUGraph inGraph, AUNode inSourceNode, UInt32 inSourceOutputNumber,
                                 AUNode inDestNode, UInt32 inDestInputNumber) {
    return WithGraph(inGraph, [&](Graph& graph) -> OSStatus {
        if (!graph.Find(inSourceNode) || !graph.Find(inDestNode)) return kAUGraphErr_NodeNotFound;
        if (inSourceNode == inDestNode) return kAUGraphErr_InvalidConnection;
        if (graph.initialized) return kAUGraphErr_CannotDoInCurrentContext;
        const bool taken = std::any_of(graph.connections.begin(), graph.connections.end(), [&](const Connection& c) {
            return c.dest == inDestNode && c.destBus == inDestInputNumber;
        });
        if (taken) return kAUGraphErr_InvalidConnection;
        graph.connections.push_back({inSourceNode, inSourceOutputNumber, inDestNode, inDestInputNumber});
        return noErr;
    });
}

OSStatus AUGraphDisconnectNodeInput(AUGraph inGraph, AUNode inDestNode, UInt32 inDestInputNumber) {
    return WithGraph(inGraph, [&](Graph& graph) -> OSStatus {
        if (!graph.Find(inDestNode)) return kAUGraphErr_NodeNotFound;
        if (graph.initialized) return kAUGraphErr_CannotDoInCurrentContext;
        std::erase_if(graph.connections, [&](const Connection& c) {
            const bool match = c.dest == inDestNode && c.destBus == inDestInputNumber;
            if (match) Detach(graph, c);
            return match;
        });
        return noErr;
    });
}

OSStatus AUGraphInitialize(AUGraph inGraph) {
    return WithGraph(inGraph, [&](Graph& graph) -> OSStatus {
        if (!graph.open) return kAUGraphErr_CannotDoInCurrentContext;
        if (graph.initialized) return noErr;
        for (Connection& connection : graph.connections) {
            if (const OSStatus status = Apply(graph, connection)) return status;
        }
        for (const Node& node : graph.nodes) {
            if (const OSStatus status = AudioUnitInitialize(node.unit)) {
                for (const Node& done : graph.nodes) AudioUnitUninitialize(done.unit);
                return status;
            }
        }
        graph.initialized = true;
        return noErr;
    });
}

OSStatus AUGraphUninitialize(AUGraph inGraph) {
    return WithGraph(inGraph, [&](Graph& graph) {
        Uninitialize(graph);
        return noErr;
    });
}

OSStatus AUGraphStart(AUGraph inGraph) {
    return WithGraph(inGraph, [&](Graph& graph) -> OSStatus {
        const Node* output = graph.OutputNode();
        if (!output) return kAUGraphErr_OutputNodeErr;
        if (!graph.initialized) return kAUGraphErr_CannotDoInCurrentContext;
        return AudioOutputUnitStart(output->unit);
    });
}

OSStatus AUGraphStop(AUGraph inGraph) {
    return WithGraph(inGraph, [&](Graph& graph) { return Stop(graph); });
}

OSStatus AUGraphIsOpen(AUGraph inGraph, Boolean* outIsOpen) {
    if (!outIsOpen) return kAudio_ParamError;
    return WithGraph(inGraph, [&](Graph& graph) {
        *outIsOpen = graph.open;
        return noErr;
    });
}

OSStatus AUGraphIsInitialized(AUGraph inGraph, Boolean* outIsInitialized) {
    if (!outIsInitialized) return kAudio_ParamError;
    return WithGraph(inGraph, [&](Graph& graph) {
        *outIsInitialized = graph.initialized;
        return noErr;
    });
}

OSStatus AUGraphIsRunning(AUGraph inGraph, Boolean* outIsRunning) {
    if (!outIsRunning) return kAudio_ParamError;
    return WithGraph(inGraph, [&](Graph& graph) -> OSStatus {
        *outIsRunning = false;
        const Node* output = graph.OutputNode();
        if (!output || !output->unit) return noErr;
        UInt32 running = 0;
        UInt32 size = sizeof running;
        const OSStatus status = AudioUnitGetProperty(output->unit, kAudioOutputUnitProperty_IsRunning,
                                                     kAudioUnitScope_Global, 0, &running, &size);
        *outIsRunning = status == noErr && running != 0;
        return status;
    });
}
}
