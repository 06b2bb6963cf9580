#pragma once

namespace kestr {

/// Parsed IPTC data.
class CIPTC_Members {
public:
    virtual ~CIPTC_Members() = default;
};

}  // namespace kestr
