#pragma once

#include <string>
#include <string_view>
#include <vector>

/// A WWW-Authenticate or Authorization value: a scheme and name=value parameters, or a scheme and one token.
struct AuthParameters
{
    struct Parameter
    {
        std::string name;  ///< lower case
        std::string value; ///< without the quotes
    };

    std::string scheme; ///< lower case
    std::string rest;   ///< everything behind the scheme, trimmed
    std::vector<Parameter> parameters;
    bool wellFormed = true; ///< false when a quote is not closed, a "=" is missing or a name comes twice

    bool Has(std::string_view name) const;
    /// Empty when absent.
    std::string Get(std::string_view name) const;

    /// Commas inside quoted strings do not separate; a backslash keeps the next character inside the quotes.
    static AuthParameters Parse(std::string_view text);
};
