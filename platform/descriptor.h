// The numbers of the file descriptors that the library opens for itself: never those of the standard streams (Linux).
#pragma once

namespace platform {

// Moves a descriptor out of the standard streams' numbers; a negative one stays. A host may run with those streams
// closed, and then their numbers are given out anew: what it prints would go into the vault.
int AboveStandardStreams(int descriptor);

}  // namespace platform
