#include "script/SmallTree.h"

#include <QtTest>
#include <memory>

namespace
{

const QString kScript = QStringLiteral(ORVENLINK_SCRIPT);

} // namespace

/// script/check-layers, run on a small tree of a wire, two drivers and what is above them.
class tst_CheckLayers : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void ownTreePasses();
    void treeThatKeepsItsLayersPasses();
    void whatLayersForbidIsRefused_data();
    void whatLayersForbidIsRefused();
    void everyViolationIsTold();

private:
    std::unique_ptr<SmallTree> m_tree;
};

void tst_CheckLayers::init()
{
    m_tree = std::make_unique<SmallTree>();
    m_tree->put(QStringLiteral("layers.txt"), "# Lowest first.\n"
                                              "wire: Wire\n"
                                              "radio: Radio\n"
                                              "one: Drivers/One : radio\n"
                                              "two: Drivers/Two : radio\n"
                                              "top: Top Top/Inner : wire one two\n");
    m_tree->put(QStringLiteral("CMakeLists.txt"), "add_subdirectory(Wire)\n");
    m_tree->put(QStringLiteral("Wire/CMakeLists.txt"), "orvenlink_layer(wire SOURCES Wire.cpp)\n");
    m_tree->put(QStringLiteral("Wire/Wire.h"), "#pragma once\n#include <QString>\n");
    m_tree->put(QStringLiteral("Wire/Wire.cpp"), "#include \"Wire/Wire.h\"\n#include \"Wire.moc\"\n");
    m_tree->put(QStringLiteral("Radio/Radio.h"), "#include <libradio/radio.h>\n");
    m_tree->put(QStringLiteral("Drivers/One/One.h"), "#include \"Radio/Radio.h\"\n");
    m_tree->put(QStringLiteral("Drivers/Two/Two.h"), "#include \"Radio/Radio.h\"\n");
    m_tree->put(QStringLiteral("Top/CMakeLists.txt"), "orvenlink_layer(top\n"
                                                      "  SOURCES\n"
                                                      "    Top.cpp # not ../Wire/Wire.cpp\n"
                                                      "    Inner/Inner.cpp)\n"
                                                      "configure_file(Made.h.in Made.h)\n");
    m_tree->put(QStringLiteral("Top/Made.h.in"), "#define MADE\n");
    m_tree->put(QStringLiteral("Top/Top.cpp"), "#include \"Drivers/One/One.h\"\n"
                                               "#include \"Top/Inner/Inner.h\"\n"
                                               "#include \"Top/Made.h\"\n"
                                               "#include \"Wire/Wire.h\"\n");
    m_tree->put(QStringLiteral("Top/Inner/Inner.h"), "  #  include \"Wire/Wire.h\"\n");
}

void tst_CheckLayers::ownTreePasses()
{
    const SmallTree::Result result = SmallTree::run(kScript, {});
    QCOMPARE(result.text, QString());
    QCOMPARE(result.exitCode, 0);
}

void tst_CheckLayers::treeThatKeepsItsLayersPasses()
{
    const SmallTree::Result result = m_tree->check(kScript);
    QCOMPARE(result.text, QString());
    QCOMPARE(result.exitCode, 0);
}

void tst_CheckLayers::whatLayersForbidIsRefused_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("told");

    QTest::newRow("include of a layer above")
        << "Radio/Radio.h" << QByteArray("#include \"Top/Inner/Inner.h\"\n")
        << "src/Radio/Radio.h:2: \"Top/Inner/Inner.h\" is of the layer \"top\", which \"radio\" may not use";
    QTest::newRow("include of a layer below that isn't on the line")
        << "Radio/Radio.h" << QByteArray("#include \"Wire/Wire.h\"\n")
        << "src/Radio/Radio.h:2: \"Wire/Wire.h\" is of the layer \"wire\", which \"radio\" may not use";
    QTest::newRow("include of what only a used layer may use")
        << "Top/Top.cpp" << QByteArray("#include \"Radio/Radio.h\"\n")
        << "src/Top/Top.cpp:5: \"Radio/Radio.h\" is of the layer \"radio\", which \"top\" may not use";
    QTest::newRow("driver that includes another")
        << "Drivers/Two/Two.h" << QByteArray("\t#include \"Drivers/One/One.h\"\n")
        << "src/Drivers/Two/Two.h:2: \"Drivers/One/One.h\" is of the layer \"one\", which \"two\" may not "
           "use";
    QTest::newRow("include in angle brackets")
        << "Radio/Radio.h" << QByteArray("#include <Wire/Wire.h>\n")
        << "src/Radio/Radio.h:2: \"Wire/Wire.h\" is of the layer \"wire\", which \"radio\" may not use";
    QTest::newRow("include by the name alone") << "Wire/Wire.cpp" << QByteArray("#include \"Wire.h\"\n")
                                               << "src/Wire/Wire.cpp:3: \"Wire.h\" is no path below src/";
    QTest::newRow("include of nothing") << "Wire/Wire.cpp" << QByteArray("#include \"Wire/None.h\"\n")
                                        << "src/Wire/Wire.cpp:3: \"Wire/None.h\" is no path below src/";
    QTest::newRow("file in no layer")
        << "New/New.h" << QByteArray("#pragma once\n") << "src/New/New.h: the file is in no layer";
    QTest::newRow("file in a folder below a layer's")
        << "Wire/New/New.h" << QByteArray("#pragma once\n") << "src/Wire/New/New.h: the file is in no layer";
    QTest::newRow("file beside the folders")
        << "New.h" << QByteArray("#pragma once\n") << "src/New.h: the file is in no layer";
    QTest::newRow("folder in two layers") << "layers.txt" << QByteArray("third: Top/Inner\n")
                                          << "src/layers.txt:7: Top/Inner is a folder of \"top\" as well";
    QTest::newRow("folder without files")
        << "layers.txt" << QByteArray("third: Third\n") << "src/layers.txt: Third has no files";
    QTest::newRow("circle of folders")
        << "Top/Inner/Inner.h" << QByteArray("#include \"Top/Made.h\"\n")
        << "src/Top/Inner/Inner.h:2: Top/Inner includes from Top, and that from Top/Inner";
    QTest::newRow("unknown layer") << "layers.txt" << QByteArray("third: Third : wire fourth\n")
                                   << "src/layers.txt:7: \"fourth\" is no layer above this line";
    QTest::newRow("circle of layers")
        << "layers.txt" << QByteArray("third: Third : fourth\nfourth: Fourth : third\n")
        << "src/layers.txt:7: \"fourth\" is no layer above this line";
    QTest::newRow("layer that uses itself") << "layers.txt" << QByteArray("third: Third : third\n")
                                            << "src/layers.txt:7: \"third\" is no layer above this line";
    QTest::newRow("layer told twice")
        << "layers.txt" << QByteArray("wire: Third\n") << "src/layers.txt:7: \"wire\" is told twice";
    QTest::newRow("line without folders") << "layers.txt" << QByteArray("third: : wire\n")
                                          << "src/layers.txt:7: this is no \"name: folders : layers\"";
    QTest::newRow("line of another form") << "layers.txt" << QByteArray("third Third\n")
                                          << "src/layers.txt:7: this is no \"name: folders : layers\"";
    QTest::newRow("sources of another layer")
        << "Top/CMakeLists.txt" << QByteArray("target_sources(orvenlink-top PRIVATE ../Wire/Wire.cpp)\n")
        << "src/Top/CMakeLists.txt:6: ../Wire/Wire.cpp is not in a folder of this layer";
    QTest::newRow("sources of all in another layer")
        << "Top/CMakeLists.txt" << QByteArray("file(GLOB more ../Wire/*.cpp)\n")
        << "src/Top/CMakeLists.txt:6: ../Wire/*.cpp is not in a folder of this layer";
    QTest::newRow("sources by a variable")
        << "Top/CMakeLists.txt" << QByteArray("target_sources(orvenlink-top PRIVATE \"${wire}/Wire.cpp\")\n")
        << "src/Top/CMakeLists.txt:6: ${wire}/Wire.cpp has to be a plain path";
    QTest::newRow("sources outside the layers")
        << "CMakeLists.txt" << QByteArray("add_library(wire Wire/Wire.cpp)\n")
        << "src/CMakeLists.txt:2: Wire/Wire.cpp is not in a folder of this layer";
}

void tst_CheckLayers::whatLayersForbidIsRefused()
{
    QFETCH(QString, file);
    QFETCH(QByteArray, text);
    QFETCH(QString, told);
    m_tree->put(file, text);
    const SmallTree::Result result = m_tree->check(kScript);
    QVERIFY2(result.text.contains(told + QLatin1Char('\n')), qPrintable(result.text));
    QCOMPARE(result.exitCode, 1);
}

void tst_CheckLayers::everyViolationIsTold()
{
    m_tree->put(QStringLiteral("Radio/Radio.h"), "#include \"Wire/Wire.h\"\n");
    m_tree->put(QStringLiteral("New/New.h"), "#include \"Wire/None.h\"\n");
    const SmallTree::Result result = m_tree->check(kScript);
    QCOMPARE(result.text.count(QLatin1Char('\n')), 3);
    QCOMPARE(result.exitCode, 1);
}

QTEST_GUILESS_MAIN(tst_CheckLayers)
#include "tst_CheckLayers.moc"
