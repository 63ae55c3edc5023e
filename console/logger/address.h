// How the console addresses the gateway.
#pragma once

#include <string>

struct Address {
  char station = '4';          ///< first character of every AK request and reply
  std::string channel = "K0";  ///< channel of the AK station, two characters
  std::string id;              ///< instrument id of GNP requests, three digits; empty sends none
};
