#ifndef QUORVA_TOOLS_CHANGEOPTIONS_H
#define QUORVA_TOOLS_CHANGEOPTIONS_H

#include <QVariantMap>

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace Ctl {

/** The options --set, --add and --remove: what an update changes. */
struct ChangeOptions {
    std::vector<std::string> set;
    std::vector<std::string> add;
    std::vector<std::string> remove;

    void declare(CLI::App* command);
    /** False for an update that can only make an item smaller. */
    bool storesValues() const { return !set.empty() || !add.empty(); }
    /** Builds the "AttributeUpdates" of a request. Returns an empty string or an error message. */
    [[nodiscard]] std::string read(QVariantMap* updates) const;
};

} // namespace Ctl

#endif
