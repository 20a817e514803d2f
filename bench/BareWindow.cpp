// A Widgets program with nothing in it: the least that a window costs here.

#include <QApplication>
#include <QWidget>

int main(int argc, char** argv) {
    const QApplication application(argc, argv);
    QWidget window;
    window.resize(460, 540);
    window.show();
    return QApplication::exec();
}
