#pragma once

#include "cli/pages/Page.h"

#include <string>

/// Scripts that let a shell complete the verbs, their options, and files behind those options that take a value.
std::string bashCompletion(const Page& program);
std::string zshCompletion(const Page& program);
