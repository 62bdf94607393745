#include "fuzz/FuzzTarget.h"
#include "fuzz/Mutator.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QTextStream>

namespace
{

constexpr int kLongest = 65'536; // bytes, of an input that is made here

QByteArrayList read(const QString& path)
{
    QByteArrayList inputs;
    if (QFileInfo(path).isDir()) {
        const QFileInfoList files = QDir(path).entryInfoList(QDir::Files, QDir::Name);
        for (const QFileInfo& file : files) {
            inputs += read(file.filePath());
        }
        return inputs;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        qFatal("can't read %s", qPrintable(path));
    }
    return {file.readAll()};
}

void run(const QByteArray& input)
{
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.constData()),
                           static_cast<std::size_t>(input.size()));
}

QByteArray makeInput(Mutator& mutator, const QByteArrayList& seeds)
{
    const auto seed = [&] { return seeds.at(mutator.below(seeds.size())); };
    QByteArray input = seed();
    while (mutator.below(3) == 0) {
        input += (mutator.below(4) == 0 ? FuzzTarget::kLate : FuzzTarget::kNext) + seed();
    }
    for (int mutations = 1 + mutator.below(6); mutations > 0; --mutations) {
        mutator.mutate(input, seed());
    }
    return input.left(kLongest);
}

} // namespace

/// fuzz_NAME [-max_total_time=SECONDS] [-seed=NUMBER] PATH...: runs a fuzz target without libFuzzer, by the
/// same arguments. Each file that is named, or is in a folder that is, is an input; then, for SECONDS,
/// their mutations are, of which the same seed makes the same.
int main(int argc, char* argv[])
{
    qint64 seconds = 0;
    quint32 seed = std::random_device()();
    QByteArrayList seeds;
    for (int i = 1; i < argc; ++i) {
        const QString argument = QString::fromLocal8Bit(argv[i]);
        const QString value = argument.section(QLatin1Char('='), 1);
        if (argument.startsWith(QLatin1String("-max_total_time="))) {
            seconds = value.toLongLong();
        } else if (argument.startsWith(QLatin1String("-seed="))) {
            seed = value.toUInt();
        } else {
            seeds += read(argument);
        }
    }
    if (seeds.isEmpty()) {
        qFatal("no seeds");
    }
    QTextStream out(stdout);
    out << "seed: " << seed << '\n';
    out.flush();

    for (const QByteArray& input : qAsConst(seeds)) {
        run(input);
    }
    Mutator mutator(seed);
    QElapsedTimer clock;
    clock.start();
    qint64 made = 0;
    for (; clock.elapsed() < seconds * 1000; ++made) {
        run(makeInput(mutator, seeds));
    }
    out << seeds.size() << " seeds, " << made << " mutations\n";
    return 0;
}
