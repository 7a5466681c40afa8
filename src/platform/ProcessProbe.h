#pragma once

#include <QtGlobal>

namespace kestrava {

// kill(pid, 0): alive unless the system answers ESRCH (EPERM means it exists but is not ours).
// Lock files are taken over only when this says the owner is gone.
bool isProcessAlive(qint64 pid);

} // namespace kestrava
