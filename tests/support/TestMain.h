#pragma once

#include "support/LogRelay.h"

#include <QCoreApplication>
#include <QtTest>

namespace TestMain
{

/// QTest::qExec in its parts, with a relay between the threads' log records and QTest's handler, which is
/// there from `qInit` on.
inline int run(QObject& test, int argc, char** argv)
{
    QTest::qInit(&test, argc, argv);
    int failures = 0;
    {
        const LogRelay relay;
        failures = QTest::qRun();
    }
    QTest::qCleanup();
    return failures;
}

} // namespace TestMain

// In the place of QtTest's own.
#undef QTEST_GUILESS_MAIN
#define QTEST_GUILESS_MAIN(Test)                                                                             \
    int main(int argc, char** argv)                                                                          \
    {                                                                                                        \
        const QCoreApplication application(argc, argv);                                                      \
        Test test;                                                                                           \
        return TestMain::run(test, argc, argv);                                                              \
    }
