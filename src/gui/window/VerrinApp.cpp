#include "window/VerrinApp.h"

VerrinApp::VerrinApp(int& argc, char** argv) : QApplication(argc, argv)
{
    Q_UNUSED(reserved);
}
