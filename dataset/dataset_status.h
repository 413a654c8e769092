#pragma once

// How a failed call of the dataset interface is told.

#include <string>

#include "control/messages.h"

namespace dfl {

// Why an operation of the dataset files failed.
std::string hyfs_reason(int status);
// "No such file", or why it cannot be read as a dataset file.
std::string hyfs_open_reason(const std::string& path, int status);

// A file, or an object in it, as messages show it.
std::string dataset_place(const std::string& file, const std::string& object);
// A status below 0 is fatal: `text`, behind a line on console and echo file that says where and
// why.
void check_dataset_status(const MessageState& messages, int status, const std::string& place,
                          const std::string& text);
// The same for opening a file.
void check_dataset_file(const MessageState& messages, int status, const std::string& path,
                        const std::string& text);

}  // namespace dfl
