#pragma once

#include <string>

/// The products with their links, part numbers and the commands that make sense for them, a line each.
std::string ProductList();
