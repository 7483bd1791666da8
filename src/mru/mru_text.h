// The one-line recipient list text: "name number;name number;number", and
// its conversion to and from parallel lists of names and numbers.
#pragma once

#include <string>
#include <vector>

struct RecipientLists {
    std::vector<std::wstring> names;
    std::vector<std::wstring> numbers;
};

// Joins the pairs with ";"; a pair without a number is left out, a pair
// without a name is written as its number alone. Extra elements of the
// longer list are ignored.
std::wstring ListsToText(const std::vector<std::wstring>& names, const std::vector<std::wstring>& numbers);

// Splits at every ";" and keeps the pieces that end in a number.
RecipientLists TextToLists(const std::wstring& text);

// Splits one piece into name and number; the number is empty when the piece
// does not end in a run of number characters.
void SplitRecipient(const std::wstring& piece, std::wstring& name, std::wstring& number);
