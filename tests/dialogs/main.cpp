#include "fixtures/WidgetTests.h"

#include "NoWindows.h"

int main(int argc, char** argv) {
    askWithoutApplication();
    return runWidgetTests(argc, argv);
}
