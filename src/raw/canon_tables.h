// Canon's RCSDK.DLL, and CDSDK.DLL with RDSDK.DLL: libraries that hand out a table of functions.
#pragma once

#include <memory>

#include "raw/canon_operations.h"

namespace kestr {

/// Starts a library over these operations; null when it does not start.
[[nodiscard]] std::shared_ptr<CCanonLibrary> StartTableLibrary(
    std::unique_ptr<CCanonOperations> operations, ECanonRoute route);

/// Whether files of this camera are for the route over CDSDK alone, which leaves them to their
/// preview.
[[nodiscard]] bool IsForLastCanonRoute(std::string_view model);

/// Finds such a library and the function that gives its table. Of no version is the table's layout
/// known here, so that none can be used: the answer is always null, and the reader goes on to the
/// preview. Nothing is called: the table would be written into room of an unknown size. (RCSDK is
/// to be asked for version 0x08000000 of its table, CDSDK for 0x07030000, RDSDK for 0x01000000.)
class CTableStarter : public CCanonStarter {
public:
    CTableStarter(const char* fileName, std::span<const char* const> versions,
                  const char* function);

protected:
    std::shared_ptr<CCanonLibrary> Bind(std::unique_ptr<CDLLInterface> file) override;

private:
    const char* m_function;
};

class CRCStarter final : public CTableStarter {
public:
    CRCStarter();
};
class CCRWStarter final : public CTableStarter {
public:
    CCRWStarter();
};
class CRDStarter final : public CTableStarter {
public:
    CRDStarter();
};

}  // namespace kestr
