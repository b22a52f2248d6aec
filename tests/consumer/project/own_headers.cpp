#include <qolive_report/data_report/DataReportManager.h>
#include <qolive_report/heartbeat/LiveHeartReport.h>

#include "base/Export.h"
#include "base/Sync.h"
#include "platform/Export.h"

int main() {
    return OwnBaseExport().value + OwnBaseSync().value + OwnPlatformExport().value == 3 ? 0 : 1;
}
