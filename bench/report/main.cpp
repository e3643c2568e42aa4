// bench_report RESULTS WORK-DIRECTORY [DOCUMENT.md CHART.svg SCALE.svg]: prints what was measured, and with
// the files writes it there, unless a measurement failed. Without them only the rows that were measured are
// printed.

#include "chart.h"
#include "documents.h"
#include "machine.h"
#include "results.h"
#include "scale.h"
#include "stores.h"

#include <algorithm>
#include <exception>
#include <iostream>

int main(int argc, char** argv) try {
    if (argc != 3 && argc != 6) {
        std::cerr << "usage: bench_report RESULTS WORK-DIRECTORY [DOCUMENT.md CHART.svg SCALE.svg]\n";
        return 2;
    }
    report::Results const results(argv[1]);
    std::vector<report::Comparison> comparisons;
    for (report::Row const& row : report::rows()) {
        comparisons.push_back({&row, results.median(row.ours), results.median(row.counterpart)});
    }
    bool const isWritten = argc == 6;
    if (!isWritten) {
        std::erase_if(comparisons,
                      [](report::Comparison const& each) { return !each.ours && !each.counterpart; });
    }
    std::string const machine = report::machineText(argv[2], results.versions());
    std::cout << machine << "\n\n";
    report::printTable(std::cout, comparisons);
    if (isWritten) {
        std::cout << '\n' << report::scaleTable(results);
    }
    if (isWritten || !results.versions().empty()) {
        std::cout << '\n' << report::storesTable(results);
    }
    std::cout << '\n';
    bool const isComplete = results.failures().empty() &&
                            std::all_of(comparisons.begin(), comparisons.end(),
                                        [](report::Comparison const& each) { return each.isMeasured(); });
    if (isWritten && isComplete) {
        report::writeDocument(argv[3],
                              {{"what was measured", machine + "\n\n" + report::markdownTable(comparisons)},
                               {"growing sizes", report::scaleTable(results)},
                               {"other stores", report::storesTable(results)}});
        report::writeWhole(argv[4], report::chart(comparisons));
        report::writeWhole(argv[5], report::scaleChart(results));
    }
    for (auto const& [name, reason] : results.failures()) {
        std::cerr << "bench_report: " << name << ": " << reason << '\n';
    }
    report::printVerdicts(std::cout, comparisons);
    return isComplete ? 0 : 1;
} catch (std::exception const& failure) {
    std::cerr << "bench_report: " << failure.what() << '\n';
    return 1;
}
