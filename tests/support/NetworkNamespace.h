// Moves the test process into a network namespace of its own with only loopback, so
// that Aravis's discovery broadcasts reach nothing outside it. Must run first in main,
// while the process has a single thread.
#ifndef TESTS_ARAVIS_NETWORKNAMESPACE_H
#define TESTS_ARAVIS_NETWORKNAMESPACE_H

#include <QString>

class NetworkNamespace
{
public:
    // True when the process now sees only its own loopback with the given extra
    // addresses on it; otherwise reason says why.
    static bool Enter(const QStringList& extraLoopbackAddresses, QString& reason);
};

#endif
