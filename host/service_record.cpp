#include "tarnhost/service_record.h"

#include <atomic>

#include "record_call.h"

namespace tarn::host {

ServiceRecord serviceRecord;

char* nextRecordLine() {
    // cycle and command handlers may record at the same time
    const int index = std::atomic_ref(serviceRecord.count).fetch_add(1);
    if (index < kServiceRecordLines) return serviceRecord.line[index];
    std::atomic_ref(serviceRecord.count).store(kServiceRecordLines);
    std::atomic_ref(serviceRecord.dropped).fetch_add(1);
    return nullptr;
}

void clearServiceRecord() {
    serviceRecord.count = 0;
    serviceRecord.dropped = 0;
    for (char(&line)[kServiceRecordWidth] : serviceRecord.line) line[0] = '\0';
}

}  // namespace tarn::host
