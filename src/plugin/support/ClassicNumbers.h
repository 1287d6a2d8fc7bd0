#pragma once

#include <locale.h>

// While it lives, this thread prints and scans numbers with a point, whatever locale the program runs under:
// a file written in one country must be read in the next.
class ClassicNumbers {
public:
    ClassicNumbers() : previous(uselocale(classicLocale())) {}
    ~ClassicNumbers() { uselocale(previous); }
    ClassicNumbers(const ClassicNumbers&) = delete;
    ClassicNumbers& operator=(const ClassicNumbers&) = delete;

private:
    // Made once and kept for good.
    static locale_t classicLocale() {
        static const locale_t classic = newlocale(LC_ALL_MASK, "C", nullptr);
        return classic;
    }

    locale_t previous;
};
