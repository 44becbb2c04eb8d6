#pragma once
// A graph of audio units: nodes made from component descriptions, outputs
// connected to inputs, pulled by its one output unit.
//
// A graph is used from one thread at a time (any thread). Opening makes the
// nodes' units; initialising connects them (a connected input pulls the
// source node's output, taking its stream format) and initialises every
// unit; starting starts the output node's device I/O, on whose thread every
// unit then renders. Render callbacks must not call these functions on their
// own graph. Stopping returns once no render is running; uninitialising,
// closing and disposing stop first.
#include "AudioUnit.h"

typedef struct OpaqueAUGraph* AUGraph;
typedef SInt32 AUNode;

enum : OSStatus {
    kAUGraphErr_NodeNotFound = -10860,
    kAUGraphErr_InvalidConnection = -10861,
    kAUGraphErr_OutputNodeErr = -10862,
    kAUGraphErr_CannotDoInCurrentContext = -10863,
    kAUGraphErr_InvalidAudioUnit = -10864,
};

extern "C" {
OSStatus NewAUGraph(AUGraph* outGraph);
OSStatus DisposeAUGraph(AUGraph inGraph);
// Nodes are numbered from 1. A graph has at most one output node.
OSStatus AUGraphAddNode(AUGraph inGraph, const AudioComponentDescription* inDescription, AUNode* outNode);
OSStatus AUGraphRemoveNode(AUGraph inGraph, AUNode inNode);
// Either out pointer may be null; the unit is null while the graph is closed.
OSStatus AUGraphNodeInfo(AUGraph inGraph, AUNode inNode, AudioComponentDescription* outDescription,
                         AudioUnit* outAudioUnit);
OSStatus AUGraphOpen(AUGraph inGraph);
OSStatus AUGraphClose(AUGraph inGraph);
// One source per destination input; connections change only while the
// graph is not initialised.
OSStatus AUGraphConnectNodeInput(AUGraph inGraph, AUNode inSourceNode, UInt32 inSourceOutputNumber,
                                 AUNode inDestNode, UInt32 inDestInputNumber);
OSStatus AUGraphDisconnectNodeInput(AUGraph inGraph, AUNode inDestNode, UInt32 inDestInputNumber);
OSStatus AUGraphInitialize(AUGraph inGraph);
OSStatus AUGraphUninitialize(AUGraph inGraph);
OSStatus AUGraphStart(AUGraph inGraph);
OSStatus AUGraphStop(AUGraph inGraph);
OSStatus AUGraphIsOpen(AUGraph inGraph, Boolean* outIsOpen);
OSStatus AUGraphIsInitialized(AUGraph inGraph, Boolean* outIsInitialized);
OSStatus AUGraphIsRunning(AUGraph inGraph, Boolean* outIsRunning);
}
