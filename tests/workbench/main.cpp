#include "fixtures/WidgetTests.h"

int main(int argc, char** argv) {
    return runWidgetTests(argc, argv);
}
