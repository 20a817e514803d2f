// What one picture of a 3840×2160 display costs, from the X server to a JPEG file of 1920×1080: over the same
// pipeline written straight down, in memory, and beside a common screenshot program. Fails when a bound is
// passed.

#include "PlainCapture.h"
#include "platform/linux/x11/X11DisplaySource.h"
#include "tests/platform/x11/X11TestClient.h"
#include "tests/platform/x11/XvfbFixture.h"

#include <QCoreApplication>
#include <QCoroTask>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <sys/resource.h>

using namespace Qt::StringLiterals;

namespace {

constexpr double allowedRatio = 1.3;
constexpr double allowedMegabytes = 4;
constexpr double allowedShareOfProgram = 0.25;
constexpr int rounds = 25;
constexpr int programRounds = 5;
constexpr QSize outSize(1920, 1080);

double processorMilliseconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return double(time.tv_sec) * 1e3 + double(time.tv_nsec) * 1e-6;
}

/// Of children that have ended.
double childrenMilliseconds() {
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    const auto milliseconds = [](const timeval& time) {
        return double(time.tv_sec) * 1e3 + double(time.tv_usec) * 1e-3;
    };
    return milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime);
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// Something like windows full of text on a sloping background.
uint32_t desktopColour(int x, int y) {
    const bool isWindow = x % 1280 > 80 && y % 720 > 60;
    if (!isWindow)
        return uint32_t(40 + x / 64) << 16 | uint32_t(60 + y / 32) << 8 | 140;
    const bool isLetter = y % 20 < 12 && (uint32_t(x / 3) * 2654435761U ^ uint32_t(y / 3) * 40503U) % 7 < 2;
    return isLetter ? 0x202020 : 0xF4F4F4;
}

bool takeOurPicture(X11DisplaySource& source, const QString& path) {
    const auto displays = source.displays();
    const auto* list = std::get_if<std::vector<DisplayDescription>>(&displays);
    if (!list || list->size() != 1)
        return false;
    const auto result = QCoro::waitFor(source.picture(list->front(), outSize, 0.6));
    const auto* picture = std::get_if<Picture>(&result);
    QFile file(path);
    return picture && file.open(QIODevice::WriteOnly) && file.write(picture->jpeg) == picture->jpeg.size();
}

/// A figure of /proc/self/status in megabytes.
double memory(const char* name) {
    QFile status(u"/proc/self/status"_s);
    if (status.open(QIODevice::ReadOnly))
        for (QByteArray line = status.readLine(); !line.isEmpty(); line = status.readLine())
            if (line.startsWith(name))
                return line.mid(qsizetype(qstrlen(name)) + 1).chopped(4).trimmed().toDouble() / 1024;
    return 0;
}

/// In a process of its own: how far three pictures raise the peak, the code that they run included.
double addedMegabytes(const QString& path) {
    X11DisplaySource source;
    const double before = memory("VmRSS");
    bool isGood = true;
    for (int i = 0; i < 3; ++i)
        isGood = isGood && takeOurPicture(source, path);
    return isGood ? memory("VmHWM") - before : 1e9;
}

double addedMegabytesOfAnotherProcess(const QString& path) {
    QProcess child;
    child.start(QCoreApplication::applicationFilePath(), {u"--memory"_s, path});
    child.waitForFinished(20000);
    return child.readAllStandardOutput().trimmed().toDouble();
}

/// The processor time of one run of a screenshot program; absent when it is not installed.
std::optional<double> programMilliseconds(const QString& program, const QString& path) {
    if (QStandardPaths::findExecutable(program).isEmpty())
        return std::nullopt;
    std::vector<double> times;
    for (int i = 0; i < programRounds; ++i) {
        QFile::remove(path);
        const double before = childrenMilliseconds();
        QProcess::execute(program, {path});
        times.push_back(childrenMilliseconds() - before);
    }
    return median(times);
}

bool compareWithPlain(const QTemporaryDir& folder, double& ours) {
    X11DisplaySource source;
    const QByteArray plainPath = QFile::encodeName(folder.filePath(u"plain.jpg"_s));
    const QString ourPath = folder.filePath(u"ours.jpg"_s);
    std::vector<double> plain, own, ratios, wall;
    for (int i = -2; i < rounds; ++i) { // two to warm up
        const double start = processorMilliseconds();
        bool isGood = takePlainPicture(plainPath.constData());
        const double between = processorMilliseconds();
        const auto wallStart = std::chrono::steady_clock::now();
        isGood = takeOurPicture(source, ourPath) && isGood;
        const std::chrono::duration<double, std::milli> wallTime = std::chrono::steady_clock::now() - wallStart;
        const double end = processorMilliseconds();
        if (!isGood) {
            std::puts("bench-capture: no picture");
            return false;
        }
        if (i < 0)
            continue;
        plain.push_back(between - start);
        own.push_back(end - between);
        ratios.push_back((end - between) / (between - start));
        wall.push_back(wallTime.count());
    }
    ours = median(own);
    std::printf("a picture of 3840x2160: %.2f ms of processor time, %.2f ms in all, %lld KB; straight down %.2f ms\n",
                ours, median(wall), static_cast<long long>(QFile(ourPath).size() / 1024), median(plain));
    std::printf("ratio %.2f (at most %.1f)\n", median(ratios), allowedRatio);
    return median(ratios) <= allowedRatio;
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() == 3 && arguments[1] == "--memory"_L1) {
        std::printf("%.2f\n", addedMegabytes(arguments[2]));
        return 0;
    }

    const XvfbServer server(u"3840x2160x24"_s);
    const SessionEnvironment environment(server.display());
    X11TestClient(server.display()).paint(QRect(0, 0, 3840, 2160), desktopColour);
    const QTemporaryDir folder;
    double ours = 0;
    bool isWithinBounds = compareWithPlain(folder, ours);

    const double megabytes = addedMegabytesOfAnotherProcess(folder.filePath(u"memory.jpg"_s));
    std::printf("memory added at the peak: %.1f MB (at most %.0f)\n", megabytes, allowedMegabytes);
    isWithinBounds = isWithinBounds && megabytes > 0 && megabytes <= allowedMegabytes;

    for (const auto& program : {u"scrot"_s, u"maim"_s}) {
        const auto theirs = programMilliseconds(program, folder.filePath(program + u".jpg"_s));
        if (!theirs)
            continue;
        std::printf("%s: %.1f ms of processor time; ours is %.2f of it (at most %.2f)\n", qPrintable(program), *theirs,
                    ours / *theirs, allowedShareOfProgram);
        isWithinBounds = isWithinBounds && ours <= *theirs * allowedShareOfProgram;
    }
    return isWithinBounds ? 0 : 1;
}
