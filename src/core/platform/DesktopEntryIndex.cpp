#include "platform/DesktopEntryIndex.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStandardPaths>

namespace {
// Desktop files are a few kilobytes; anything far bigger is not one and is not read.
constexpr qint64 maxDesktopFileSize = 512 * 1024;
constexpr int maxFolderDepth = 4;

QString unescapeValue(const QString& value)
{
    if (!value.contains(QLatin1Char('\\'))) {
        return value;
    }
    QString out;
    out.reserve(value.size());
    for (qsizetype i = 0; i < value.size(); ++i) {
        const QChar c = value.at(i);
        if (c != QLatin1Char('\\') || i + 1 >= value.size()) {
            out += c;
            continue;
        }
        const QChar n = value.at(++i);
        switch (n.unicode()) {
        case 's':
            out += QLatin1Char(' ');
            break;
        case 'n':
            out += QLatin1Char('\n');
            break;
        case 't':
            out += QLatin1Char('\t');
            break;
        case 'r':
            out += QLatin1Char('\r');
            break;
        case '\\':
            out += QLatin1Char('\\');
            break;
        default:
            // Not a string escape: keep both, the Exec quoting rules may still need the backslash.
            out += c;
            out += n;
        }
    }
    return out;
}

bool isTrue(const QString& value)
{
    return value.trimmed().compare(QLatin1String("true"), Qt::CaseInsensitive) == 0;
}

bool isAssignment(const QString& token)
{
    static const QRegularExpression assignment(QStringLiteral("^[A-Za-z_][A-Za-z0-9_]*="));
    return assignment.match(token).hasMatch();
}

QString idStem(const QString& id)
{
    QString stem = id;
    if (stem.endsWith(QLatin1String(".desktop"))) {
        stem.chop(8);
    }
    return stem.toLower();
}
} // namespace

QString DesktopEntry::displayName(const QString& locale) const
{
    if (!locale.isEmpty() && !localizedNames.isEmpty()) {
        QString full = locale.section(QLatin1Char('.'), 0, 0).section(QLatin1Char('@'), 0, 0);
        QString value = localizedNames.value(full);
        if (value.isEmpty()) {
            value = localizedNames.value(full.section(QLatin1Char('_'), 0, 0));
        }
        if (!value.isEmpty()) {
            return value;
        }
    }
    return name;
}

bool desktop_file::parse(const QString& path, DesktopEntry* entry)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.size() > maxDesktopFileSize) {
        return false;
    }
    return parseData(file.read(maxDesktopFileSize), path, entry);
}

bool desktop_file::parseData(QByteArray data, const QString& path, DesktopEntry* entry)
{
    if (data.size() > maxDesktopFileSize) {
        return false;
    }
    if (data.startsWith("\xef\xbb\xbf")) {
        data.remove(0, 3); // a byte order mark some editors write
    }
    if (data.contains('\0')) {
        return false; // binary, not a desktop file
    }

    DesktopEntry e;
    e.path = path;
    QString type;
    QString exec;
    bool inMainGroup = false;
    bool sawMainGroup = false;
    for (const QByteArray& rawLine : data.split('\n')) {
        const QString line = QString::fromUtf8(rawLine).trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#'))) {
            continue;
        }
        if (line.startsWith(QLatin1Char('['))) {
            inMainGroup = line == QLatin1String("[Desktop Entry]");
            sawMainGroup = sawMainGroup || inMainGroup;
            continue;
        }
        if (!inMainGroup) {
            continue;
        }
        const qsizetype eq = line.indexOf(QLatin1Char('='));
        if (eq <= 0) {
            continue;
        }
        const QString key = line.left(eq).trimmed();
        const QString value = unescapeValue(line.mid(eq + 1).trimmed());
        if (key == QLatin1String("Type")) {
            type = value;
        } else if (key == QLatin1String("Name")) {
            e.name = value;
        } else if (key.startsWith(QLatin1String("Name[")) && key.endsWith(QLatin1Char(']'))) {
            e.localizedNames.insert(key.mid(5, key.size() - 6), value);
        } else if (key == QLatin1String("Icon")) {
            e.icon = value;
        } else if (key == QLatin1String("StartupWMClass")) {
            e.startupWMClass = value;
        } else if (key == QLatin1String("Exec")) {
            exec = value;
        } else if (key == QLatin1String("TryExec")) {
            e.tryExecProgram = value;
        } else if (key == QLatin1String("Hidden")) {
            e.hidden = isTrue(value);
        } else if (key == QLatin1String("NoDisplay")) {
            e.noDisplay = isTrue(value);
        }
    }
    if (!sawMainGroup) {
        return false;
    }
    if (!type.isEmpty() && type != QLatin1String("Application")) {
        return false;
    }
    if (type.isEmpty() && e.name.isEmpty() && exec.isEmpty() && !e.hidden) {
        return false;
    }
    e.execProgram = execProgram(exec);
    *entry = std::move(e);
    return true;
}

QStringList desktop_file::splitExec(const QString& exec)
{
    QStringList args;
    QString current;
    bool inArg = false;
    bool quoted = false;
    for (qsizetype i = 0; i < exec.size(); ++i) {
        const QChar c = exec.at(i);
        if (quoted) {
            if (c == QLatin1Char('\\') && i + 1 < exec.size()) {
                const QChar n = exec.at(i + 1);
                if (n == QLatin1Char('"') || n == QLatin1Char('`') || n == QLatin1Char('$') || n == QLatin1Char('\\')) {
                    current += n;
                    ++i;
                    continue;
                }
            }
            if (c == QLatin1Char('"')) {
                quoted = false;
                continue;
            }
            current += c;
            continue;
        }
        if (c == QLatin1Char('"')) {
            quoted = true;
            inArg = true;
        } else if (c.isSpace()) {
            if (inArg) {
                args << current;
                current.clear();
                inArg = false;
            }
        } else {
            current += c;
            inArg = true;
        }
    }
    if (inArg) {
        args << current;
    }
    return args;
}

QString desktop_file::execProgram(const QString& exec)
{
    const QStringList args = splitExec(exec);
    qsizetype i = 0;
    if (i < args.size() && QFileInfo(args.at(i)).fileName() == QLatin1String("env")) {
        ++i;
        // env's own options and the variables it sets come before the program.
        while (i < args.size() && (args.at(i).startsWith(QLatin1Char('-')) || isAssignment(args.at(i)))) {
            const QString& option = args.at(i++);
            if (option == QLatin1String("-u") || option == QLatin1String("--unset") || option == QLatin1String("-C") ||
                option == QLatin1String("--chdir")) {
                ++i; // these options take the next argument as their value
            }
        }
    }
    while (i < args.size() && isAssignment(args.at(i))) {
        ++i;
    }
    return i < args.size() ? args.at(i) : QString();
}

QString desktop_file::launchedDesktopFile(const QByteArray& environ, qint64 pid)
{
    QString file;
    QByteArray launchedPid;
    for (const QByteArray& var : environ.split('\0')) {
        if (var.startsWith("GIO_LAUNCHED_DESKTOP_FILE=")) {
            file = QString::fromLocal8Bit(var.mid(26));
        } else if (var.startsWith("GIO_LAUNCHED_DESKTOP_FILE_PID=")) {
            launchedPid = var.mid(30);
        }
    }
    // A program started from a terminal that was itself launched from a desktop file inherits the
    // terminal's variables; only the process GIO started (or one it exec'd into) is that application.
    if (!launchedPid.isEmpty() && pid > 0) {
        bool ok = false;
        if (launchedPid.toLongLong(&ok) != pid || !ok) {
            return QString();
        }
    }
    return QFileInfo(file).isAbsolute() ? file : QString();
}

DesktopEntryIndex::DesktopEntryIndex(QStringList folders) : folders(std::move(folders)) {}

QStringList DesktopEntryIndex::defaultFolders()
{
    QStringList result = QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation);
    result << QDir::homePath() + QStringLiteral("/.local/share/flatpak/exports/share/applications")
           << QStringLiteral("/var/lib/flatpak/exports/share/applications")
           << QStringLiteral("/var/lib/snapd/desktop/applications");
    result.removeDuplicates();
    return result;
}

void DesktopEntryIndex::setExecutableSearchPath(const QStringList& dirs)
{
    searchPath = dirs;
    searchPathSet = true;
    scanned = false;
}

QString DesktopEntryIndex::resolveProgram(const QString& program) const
{
    if (program.isEmpty()) {
        return QString();
    }
    QString found;
    if (program.contains(QLatin1Char('/'))) {
        if (!QFileInfo(program).isAbsolute()) {
            return QString();
        }
        found = program;
    } else {
        found = searchPathSet ? QStandardPaths::findExecutable(program, searchPath)
                              : QStandardPaths::findExecutable(program);
    }
    return found.isEmpty() ? QString() : QFileInfo(found).canonicalFilePath();
}

namespace {
void collectFolder(const QString& dir, int depth, QHash<QString, QDateTime>* stamps, QStringList* files)
{
    const QFileInfo info(dir);
    stamps->insert(dir, info.exists() ? info.lastModified() : QDateTime());
    if (!info.isDir() || depth > maxFolderDepth) {
        return;
    }
    const QDir d(dir);
    if (files) {
        for (const QString& name : d.entryList({QStringLiteral("*.desktop")}, QDir::Files, QDir::Name)) {
            files->append(d.filePath(name));
        }
    }
    // Symlinked folders are not followed, so a link loop cannot trap the scan.
    for (const QString& sub : d.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::NoSymLinks, QDir::Name)) {
        collectFolder(d.filePath(sub), depth + 1, stamps, files);
    }
}
} // namespace

QHash<QString, QDateTime> DesktopEntryIndex::folderStamps() const
{
    QHash<QString, QDateTime> result;
    for (const QString& folder : folders) {
        collectFolder(folder, 0, &result, nullptr);
    }
    return result;
}

void DesktopEntryIndex::rescan()
{
    entries.clear();
    byPath.clear();
    byStartupWMClass.clear();
    byIdLower.clear();
    byExec.clear();
    byTryExec.clear();
    stamps.clear();
    QSet<QString> seenIds;
    for (const QString& folder : folders) {
        QStringList files;
        collectFolder(folder, 0, &stamps, &files);
        const QDir base(folder);
        for (const QString& file : files) {
            const QString id = base.relativeFilePath(file).replace(QLatin1Char('/'), QLatin1Char('-'));
            if (seenIds.contains(id)) {
                continue; // an earlier folder (the user's own, say) overrides this one
            }
            DesktopEntry entry;
            if (!desktop_file::parse(file, &entry)) {
                continue;
            }
            seenIds.insert(id);
            if (entry.hidden) {
                continue; // deleted by the user, and hides the system entry of the same id
            }
            entry.id = id;
            const int index = int(entries.size());
            byPath.insert(file, index);
            if (!entry.startupWMClass.isEmpty() && !byStartupWMClass.contains(entry.startupWMClass)) {
                byStartupWMClass.insert(entry.startupWMClass, index);
            }
            if (!byIdLower.contains(idStem(id))) {
                byIdLower.insert(idStem(id), index);
            }
            const QString program = resolveProgram(entry.execProgram);
            const QString tryExec = resolveProgram(entry.tryExecProgram);
            if (!program.isEmpty()) {
                byExec[program].append(index);
            }
            if (!tryExec.isEmpty() && tryExec != program) {
                byTryExec[tryExec].append(index);
            }
            entries.push_back(std::move(entry));
        }
    }
    scanned = true;
    ++scans;
    sinceCheck.start();
}

void DesktopEntryIndex::ensureScanned()
{
    if (!scanned) {
        rescan();
    }
}

bool DesktopEntryIndex::refreshIfChanged()
{
    if (sinceCheck.isValid() && sinceCheck.elapsed() < refreshIntervalMs) {
        return false;
    }
    sinceCheck.start();
    if (folderStamps() == stamps) {
        return false;
    }
    rescan();
    return true;
}

const DesktopEntry* DesktopEntryIndex::findByExecutable(const QString& executable) const
{
    // An entry that runs the program beats one that merely checks for it.
    if (const DesktopEntry* entry = pickByExecutable(byExec.value(executable), executable)) {
        return entry;
    }
    return pickByExecutable(byTryExec.value(executable), executable);
}

const DesktopEntry* DesktopEntryIndex::pickByExecutable(const QList<int>& candidates, const QString& executable) const
{
    if (candidates.size() == 1) {
        return &entries[candidates.first()];
    }
    // Several entries start the same program (an interpreter, a launcher with options): only a
    // desktop id named after the program tells which one; otherwise claim none rather than guess.
    const QString exeName = QFileInfo(executable).fileName().toLower();
    for (int index : candidates) {
        if (idStem(entries[index].id) == exeName) {
            return &entries[index];
        }
    }
    return nullptr;
}

const DesktopEntry* DesktopEntryIndex::findInIndex(const Query& query) const
{
    if (!query.wmClass.isEmpty()) {
        if (auto it = byStartupWMClass.constFind(query.wmClass); it != byStartupWMClass.constEnd()) {
            return &entries[*it];
        }
    }
    if (!query.wmInstance.isEmpty()) {
        if (auto it = byStartupWMClass.constFind(query.wmInstance); it != byStartupWMClass.constEnd()) {
            return &entries[*it];
        }
    }
    if (!query.wmClass.isEmpty()) {
        if (auto it = byIdLower.constFind(query.wmClass.toLower()); it != byIdLower.constEnd()) {
            return &entries[*it];
        }
    }
    if (!query.executable.isEmpty()) {
        return findByExecutable(query.executable);
    }
    return nullptr;
}

const DesktopEntry* DesktopEntryIndex::find(const Query& query)
{
    ensureScanned();
    const QString launched = desktop_file::launchedDesktopFile(query.environ, query.pid);
    if (!launched.isEmpty()) {
        if (const DesktopEntry* entry = entryForFile(launched)) {
            return entry;
        }
    }
    if (const DesktopEntry* entry = findInIndex(query)) {
        return entry;
    }
    // A miss may mean the application was installed after the index was built.
    if (refreshIfChanged()) {
        return findInIndex(query);
    }
    return nullptr;
}

const DesktopEntry* DesktopEntryIndex::entryForFile(const QString& path)
{
    ensureScanned();
    if (auto it = byPath.constFind(path); it != byPath.constEnd()) {
        return &entries[*it];
    }
    if (outside.path == path) {
        return &outside;
    }
    DesktopEntry entry;
    if (!desktop_file::parse(path, &entry) || entry.hidden) {
        return nullptr;
    }
    entry.id = QFileInfo(path).fileName();
    outside = std::move(entry);
    return &outside;
}
