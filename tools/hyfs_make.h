#pragma once

// dfl-hyfs make FILE ...: a dataset file from numbers in plain text. The options:
//
//   --overwrite            FILE may be there already
//   --title TEXT
//   --start DATE           "YYYY-MM-DD hh:mm:ss": what all times count from
//   --time-units WORD      Seconds (the default) or Hours
//   --grid PATH            a grid, with
//     --origin X Y         0 0 if not given
//     --bearing B          degrees, 0 if not given
//     --i AXIS, --j AXIS   far sides of the columns and rows, from the origin
//     --k AXIS             the same of layers; 1:1 if not given
//     --celltypes NUMBERS  a whole number for each cell, odd: active; 1 for all if not given
//   --times NUMBERS        of the datasets behind it on the command line; 0 if not given
//   --planes N             planes of values of the datasets behind it, 1 if not given
//   --dataset PATH UNITS LOCATION NUMBERS
//   --vector PATH UNITS LOCATION NUMBERS NUMBERS
//   --property PATH NUMBERS
//
// AXIS: N:STEP, N cells of that width, or NUMBERS. NUMBERS: a text file, or =V for one number V
// everywhere; for --times also N:STEP, N times from 0 on. A file holds the numbers of all steps,
// one step behind the other, in a step plane by plane, row by row, I fastest.
// LOCATION: centre, i-face, j-face, faces (of a vector: x on I-faces, y on J-faces) or node.

#include <cstdio>
#include <string>
#include <vector>

namespace dfl {

// Status of the program: 1 for a fault, which `err` tells; then there is no new file.
int HYFS_MAKE(const std::vector<std::string>& words, std::FILE* out, std::FILE* err);

}  // namespace dfl
