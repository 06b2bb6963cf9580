#include "base/process_settings.h"

#include <atomic>
#include <mutex>
#include <utility>

namespace kestr {
namespace {

struct CKodakPDCName {
    std::mutex lock;
    std::string name;
};

CKodakPDCName& KodakName() {
    static CKodakPDCName name;
    return name;
}

std::atomic<double> processingGamma = 2.2;

}  // namespace

std::string KodakPDCName() {
    const std::lock_guard guard(KodakName().lock);
    return KodakName().name;
}

void SetKodakPDCName(std::string name) {
    const std::lock_guard guard(KodakName().lock);
    KodakName().name = std::move(name);
}

double ProcessingGamma() {
    return processingGamma;
}

void SetProcessingGamma(double gamma) {
    processingGamma = gamma;
}

}  // namespace kestr
