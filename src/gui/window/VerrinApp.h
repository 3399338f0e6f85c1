#pragma once

#include <QApplication>

// The application object; a class of its own so the program's application has its own name and
// meta-object.
class VerrinApp : public QApplication
{
    Q_OBJECT
public:
    VerrinApp(int& argc, char** argv);

private:
    void* reserved = nullptr;
};
