#pragma once

namespace qrn::bench {

/// From now on the process finds a system that neither cuts nor puts together datagrams, or the real one again. Sockets
/// keep what they have.
void HideOffload(bool hidden);

}  // namespace qrn::bench
