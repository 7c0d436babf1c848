#pragma once

#include <string>

#include "samples/picture.h"

// Bilevel pictures 64 shafts wide. Where fields of DoStyle lie, for callers that patch them: 26 picks, 28 bytes of all
// picks, 32 five numbers, 37 blocks.
std::vector<uint8_t> encodeDoStyle(const Picture& picture, uint32_t picksPerBlock = 6);
std::vector<uint8_t> encodeDoTech(const Picture& picture, const std::string& lineEnd = "\r\n");
std::vector<uint8_t> encodeMuster(const Picture& picture, const std::string& lineEnd = "\r\n");
