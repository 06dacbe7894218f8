// A coverage-guided fuzzer of what comes down a service connection (see RequestFuzzing.h),
// for clang's libFuzzer: configure with CC=clang CXX=clang++ -DMARROWGATE_FUZZER=ON
// (and -DMARROWGATE_SANITIZE=undefined or address), then, as root or not, with the seeds of
// tst_RequestFuzzing (MARROWGATE_FUZZ_CORPUS=CORPUS_FOLDER tests/tst_RequestFuzzing):
//   BUILD/bin/marrowgate-fuzz-requests -max_total_time=600 CORPUS_FOLDER
#include "RequestFuzzing.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <grp.h>

namespace {
QByteArray sandbox;
MGPropagationRegistry *registry = nullptr;
}

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    static QCoreApplication app(*argc, *argv);
    static QTemporaryDir tmp;
    sandbox = QFile::encodeName(tmp.path()) + "/sandbox";
    if (!RequestFuzzing::makeSandbox(sandbox))
        std::abort();
    // As nobody, whatever a fuzzed request names.
    if (geteuid() == 0) {
        const QByteArray top = QFile::encodeName(tmp.path());
        for (const QByteArray &path : {top, sandbox, sandbox + "/file", sandbox + "/folder", sandbox + "/folder/inner"}) {
            if (chown(path.constData(), 65534, 65534) != 0)
                std::abort();
        }
        if (setgroups(0, nullptr) != 0 || setresgid(65534, 65534, 65534) != 0 || setresuid(65534, 65534, 65534) != 0)
            std::abort();
    }
    registry = new MGPropagationRegistry;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (!RequestFuzzing::fuzzOne(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)), sandbox, *registry))
        std::abort();
    return 0;
}
