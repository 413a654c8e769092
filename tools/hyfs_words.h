#pragma once

// What the operations of the program dfl-hyfs share: words for numbers, dates and faults.

#include <cstdio>
#include <string>
#include <vector>

#include "control/messages.h"
#include "dataset/dataset_status.h"

namespace dfl {

// Faults in text files go to `err` and end the program with status 1; nothing waits for a key and
// no file is written.
MessageState tool_messages(std::FILE* err);

// Why something in a new file could not be written.
std::string hyfs_write_reason(const std::string& path, int status);

std::string number_words(double value);  // up to ten digits
std::string date_words(double julian_day);
// "2 times, 0 to 600, step 600"
std::string times_words(const std::vector<double>& times);
std::string location_words(int location);

}  // namespace dfl
