#pragma once

#include <string>

namespace tavrin {

// A new random GUID as 36 lower-case characters without braces
// ("0f8fad5b-d9cb-469f-a165-70867728950e"); empty when the system cannot make one.
std::wstring NewGuidText();

// The names the machine-derived client id is made from; empty when unknown.
std::wstring ComputerName();
std::wstring UserName();

}  // namespace tavrin
