// The main function of a test that lets Aravis discover: it enters its own network
// namespace before anything else runs, and the test class skips when it could not.
#ifndef TESTS_ARAVIS_NAMESPACEDTESTMAIN_H
#define TESTS_ARAVIS_NAMESPACEDTESTMAIN_H

#include "NetworkNamespace.h"

#include <QCoreApplication>
#include <QtTest>

// Loopback keeps 127.0.0.1; each of the extra addresses is added to it.
#define NAMESPACED_TEST_MAIN_WITH_ADDRESSES(TestClass, ...)                                                            \
    int main(int argc, char** argv)                                                                                    \
    {                                                                                                                  \
        QString reason;                                                                                                \
        const bool isolated = NetworkNamespace::Enter(QStringList{__VA_ARGS__}, reason);                               \
        /* No GenTL producer of this machine joins in; a test that wants one names it. */                              \
        qunsetenv("GENICAM_GENTL64_PATH");                                                                             \
        qunsetenv("GRB_GENTL_PRODUCER");                                                                               \
        QCoreApplication app(argc, argv);                                                                              \
        TestClass test(isolated ? QString() : reason);                                                                 \
        return QTest::qExec(&test, argc, argv);                                                                        \
    }

// Camera A answers on the first address, camera B on the second.
#define ARAVIS_NAMESPACED_TEST_MAIN(TestClass) NAMESPACED_TEST_MAIN_WITH_ADDRESSES(TestClass, QStringLiteral("127.0.0.2"))

#endif
