#pragma once

// 1 when the whole name fits the mask, else 0. In the mask * stands for any run of characters, also an empty
// one, and ? for any one character but a dot; case counts.
int matchMask(const char* name, const char* mask);
