#pragma once

#include <QtTest>
#include <hwy/targets.h>

/// Runs `check` once with every instruction set that the kernels were built for and this processor has, the
/// plainest included. `check` compares with the plain form of its kernel, by QCOMPARE and QVERIFY.
template <class Check>
void withEachTarget(Check check)
{
    const auto targets = hwy::SupportedAndGeneratedTargets();
    QVERIFY(!targets.empty());
    for (const auto target : targets) {
        hwy::GetChosenTarget().Update(target);
        check();
        if (QTest::currentTestFailed()) {
            qInfo("with the instruction set %s", hwy::TargetName(target));
            break;
        }
    }
    hwy::GetChosenTarget().DeInit();
}
