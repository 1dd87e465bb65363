#ifndef SERVICE_COMPLAINTS_H
#define SERVICE_COMPLAINTS_H

#include <string>

namespace service {

// gRPC's error messages (complaints), reported as the program's own. Safe from any thread.

/// Starts to take gRPC's log. To be called before any other use of gRPC.
void hearComplaints();

/// The first complaint since the last call, which is why something could not be started. Until
/// reportComplaints, complaints are kept for this.
std::string firstComplaint();

/// From now on, complaints are reported at once; one about a handshake, whose peer gRPC does not
/// name, waits for nameComplaints. Returns a descriptor, never closed, that is readable when there
/// is one.
int reportComplaints();

/// Notes that gRPC is about to begin a handshake on a connected socket. gRPC closes it.
void noteHandshake(int socket);

/// Reports complaints about handshakes, with the peers whose connections ended after them. Returns
/// whether some still wait; then it is to be called again soon. Only the thread that calls it may
/// make sockets.
bool nameComplaints();

}  // namespace service

#endif
