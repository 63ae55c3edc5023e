// The instrument types that the gateway knows, by how their names begin.
#pragma once

struct TypePrefix {
  const char* text;
  int instrumentType;  ///< instrument type number, which selects the walk plan
};

// The longer of two prefixes comes first; the TUL variants share the number of the plain types.
constexpr TypePrefix kTypePrefixes[] = {
    {"TwinexVARO", 1},
    {"Twinex", 2},
    {"MonardVARO", 4},
    {"Monard", 5},
};
