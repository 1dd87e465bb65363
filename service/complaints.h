#ifndef SERVICE_COMPLAINTS_H
#define SERVICE_COMPLAINTS_H

#include <string>

namespace service {

// gRPC's own complaints, as the program's reports. Any thread may call any of these.

/// Begins to hear gRPC. Before any other use of it.
void hearComplaints();

/// The first complaint since the last call: why something could not be started. Until
/// reportComplaints, complaints are kept for this.
std::string firstComplaint();

/// From now on, complaints are reported as they come; one of a handshake, of whose peer gRPC does
/// not speak, waits for nameComplaints. Returns what can be read when there is one, open for ever.
int reportComplaints();

/// Notes that gRPC is about to begin a handshake on a connected socket. gRPC closes it.
void noteHandshake(int socket);

/// Reports complaints of handshakes with the peers whose connections ended behind them. Returns
/// whether some still wait; then it is to be called again soon. Only the thread that calls it
/// makes sockets.
bool nameComplaints();

}  // namespace service

#endif
