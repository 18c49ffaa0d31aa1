#pragma once

#include <string>
#include <string_view>

/// The texts of the sub-field editor: labels, dates, and the way between decimal and hexadecimal.

/// The label before a sub-field's description, 22 characters; an unknown type stands for itself.
std::string typeLabel(const std::string& typeName);

/// The local calendar date of a value that counts seconds since 1 January 1970, as month/day/year without leading
/// zeros. Empty for an empty value; the value itself where it is no such number or no date up to the year 9999.
std::string dateText(const std::string& value);

/// The leading decimal number of `text` (64 bits, wrapping; 0 without digits) in hexadecimal: lower case, no prefix, a
/// negative number as its 16 digits in two's complement.
std::string hexFromDecimal(std::string_view text);

/// The other way. Up to 8 characters are one number, so never negative; of more, the first 8 are the high part and the
/// rest the low part of a signed 64-bit number. Reading of a part stops at the first character that is no hexadecimal
/// digit; "0x" may lead.
std::string decimalFromHex(std::string_view text);

/// Whether decimalFromHex() reads all of `text`: at most 16 characters, hexadecimal digits with or
/// without "0x" before them; among at most 8, also with blanks around them.
bool isHexNumber(std::string_view text);

/// Whether hexFromDecimal() says all of `text`: a decimal number of at most 64 bits.
bool fitsHex(std::string_view text);

/// Whether `text` is a sign or none and decimal digits, with blanks around them or not.
bool isDecimalNumber(std::string_view text);
