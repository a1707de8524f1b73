#include "MainWindow.h"
#include "sdk/ProductVersion.h"

#include <QApplication>
#include <QStyleFactory>

int main(int argc, char* argv[])
{
    QApplication::setStyle(QStyleFactory::create("fusion"));
    QApplication app(argc, argv);

    const QString version = ProductVersionText();
    QApplication::setApplicationName("Zorvan Pellix File Access Assistant");
    QApplication::setOrganizationName("Zorvan Technologies");
    QApplication::setOrganizationDomain("zorvan-technologies.com");
    QApplication::setApplicationVersion(version);

    MainWindow window;
    window.setDefaultWindowTitle(QApplication::applicationName());
    window.show();
    return app.exec();
}
