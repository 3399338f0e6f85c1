#include "app/VerrinApp.h"

int main(int argc, char** argv)
{
    VerrinApp app(argc, argv);
    return 0;
}
