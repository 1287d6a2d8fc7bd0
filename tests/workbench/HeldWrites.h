#pragma once

// While it exists, the writes of this program to a place in a file wait from the one of that number on: a run
// stays in the middle of its output for as long as a test wants.
class HeldWrites {
public:
    explicit HeldWrites(int firstHeld);
    ~HeldWrites(); // releases them
    HeldWrites(const HeldWrites&) = delete;
    HeldWrites& operator=(const HeldWrites&) = delete;

    // Whether one waits.
    bool areHeld() const;
};
