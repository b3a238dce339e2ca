// commands/reports/reports.cpp
#include "commands/reports/reports.h"

#include "expr/calc.h"

void cmd_count(Pass& pass) {
    const DbfTable& table = pass.table;
    if (pass.run.settings.show_file_name)
        pass.out.print("%8d|%s\n", dbf_record_count(table), table.path.c_str());
    else
        pass.out.print("%d\n", dbf_record_count(table));
}

void cmd_calc(OutStream& out, const char* text) {
    int32_t ok = 1;
    const double value = calc_evaluate(text != nullptr ? text : "", &ok);
    if (ok)
        out.print("%f\n", value);
    else
        out.write("Error\n");
}
