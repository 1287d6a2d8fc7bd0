#pragma once

// Asks the filters for windows while there is no application object yet; the tests look at the answers.
void askWithoutApplication();
