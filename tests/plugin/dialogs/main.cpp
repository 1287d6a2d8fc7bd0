#include "NoWindows.h"
#include "fixtures/WidgetTests.h"

int main(int argc, char** argv) {
    askWithoutApplication();
    return runWidgetTests(argc, argv);
}
