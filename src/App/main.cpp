#include "App/WispApp.h"

int main(int argc, char** argv)
{
    return WispApp::main(argc, argv);
}
