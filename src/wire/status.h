// Every status the agent sends to the application, each named once with its
// meaning. A status travels in the length field of a reply that has no payload.
// The numbers are the protocol's; meanings that share a number keep names of
// their own, so that a reader of a handler knows which one it means.
#pragma once

namespace pemo {

// Framing and requests.
inline constexpr int kStatusNoHandler = -1;      // no handler serves the request's type
inline constexpr int kStatusBadJson = -2;        // the payload is not a JSON object
inline constexpr int kStatusVersionFail = -3;    // system query: AppVersion is not ours
inline constexpr int kStatusMagicMismatch = -4;  // system query: MagicNum is not ours
inline constexpr int kStatusBadVersion = -8;     // header: protocol version is not 1
inline constexpr int kStatusBadLength = -9;      // header: payload length out of range
inline constexpr int kStatusReplyTooLong = -9;   // the reply would not fit in one message
inline constexpr int kStatusBadType = -10;       // header: no such request type
inline constexpr int kStatusBadPassword = -20;   // wrong password, or a payload with control bytes
inline constexpr int kStatusReceive = -26;       // the request could not be received whole
inline constexpr int kStatusWorker = -26;        // the apply after a set could not be started

// Results of a handler; any of them but kNothingHere ends the walk with that status.
inline constexpr int kNothingHere = -5;          // no node, or nothing to do: the walk goes on
inline constexpr int kDbFailed = -1;             // a probe database statement failed or did not fit
inline constexpr int kCfgPackageNotFound = -12;  // a configuration package cannot be loaded
inline constexpr int kCfgNotFound = -13;         // no such section or option, or an unusable path
inline constexpr int kCfgApplyFailed = -14;      // the platform's apply command failed
inline constexpr int kCfgCommitFailed = -15;     // a change could not be committed
inline constexpr int kCfgTooLong = -16;          // a configuration value longer than its reader takes
inline constexpr int kTooManyInstances = -17;    // more instance levels than a request may nest
inline constexpr int kFileError = -18;           // a file the handler needs cannot be read or written
inline constexpr int kPipeFailed = -19;          // a command whose output is the answer did not run
inline constexpr int kEmptySetValue = -21;       // a set with an empty value
inline constexpr int kValueTooLong = -21;        // a set value longer than its destination takes
inline constexpr int kValueRefused = -21;        // a set value of the wrong form
inline constexpr int kNotWritable = -22;         // a set of a read-only node
inline constexpr int kQueryFailed = -23;         // the online firmware query failed
inline constexpr int kNoFirmwareInfo = -24;      // no firmware locator has been fetched
inline constexpr int kToolFailed = -26;          // a platform tool failed, or never answered
inline constexpr int kValueNotCarriedOut = -26;  // a set value the handler has no action for
inline constexpr int kBusy = -26;                // the worker or server it starts runs already
inline constexpr int kTraceIncomplete = -26;     // the traceroute was cut at its bound
inline constexpr int kNoSuchHost = -26;          // no host at that instance in the snapshot
inline constexpr int kUnknownExtender = -26;     // a MAC that names no extender the probe daemon knows
inline constexpr int kNotReadable = -27;         // a get of a write-only node
inline constexpr int kWifiBusy = -28;            // a guest-network set while Wi-Fi is being set

}  // namespace pemo
