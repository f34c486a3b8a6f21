#pragma once

/// Every text of the companion, English first. A section for each command.
namespace phrases {

struct Row {
    char const* english;
    char const* russian;
};

// clang-format off
inline constexpr Row table[] = {
    // The command line
    {"Works with the configurations and devices of ostrand.",
     "Работает с конфигурациями и устройствами ostrand."},
    {"Usage", "Использование"},
    {"OPTIONS", "КЛЮЧИ"},
    {"Options", "Ключи"},
    {"Commands", "Команды"},
    {"Arguments", "Аргументы"},
    {"COMMAND", "КОМАНДА"},
    {"COMMANDS", "КОМАНДЫ"},
    {"required", "обязателен"},
    {"print this text", "показать этот текст"},
    {"the command line can't be used", "командная строка непригодна"},
    {"of the messages; otherwise as the locale says", "язык сообщений; иначе по локали"},
    {"%s: can't be written", "%s: не удалось записать"},
    {"%s: can't be read", "%s: не удалось прочитать"},

    // Long work
    {"%s left", "осталось %s"},

    // capture
    {"make a scenario of a log that was written with -h", "сделать сценарий из журнала, записанного с ключом -h"},
    {"the log; its frames are found by the port's name", "журнал; кадры ищутся по имени порта"},
    {"name of the port, as in the configuration", "имя порта из конфигурации"},
    {"only this device of the port", "только это устройство порта"},
    {"the configuration that was in force", "действовавшая конфигурация"},
    {"passes over the port, at most", "проходов по порту, не больше"},
    {"the scenario; standard output if absent", "сценарий; иначе стандартный вывод"},
    {"Run the daemon with -h for a while, then:\n"
     "  ostrandctl capture /var/log/ostrand/ostrand.log --port line1 -o boiler.scn\n"
     "What the daemon's drivers make of the captured frames stands in the scenario as what must come; a value\n"
     "that the log doesn't have is told on standard error.",
     "Запустите службу на время с ключом -h, затем:\n"
     "  ostrandctl capture /var/log/ostrand/ostrand.log --port line1 -o boiler.scn\n"
     "Что драйверы службы получают из записанных кадров, стоит в сценарии как ожидаемое; значение, которого нет\n"
     "в журнале, выводится в стандартный поток ошибок."},
    {"%s: no frames of port '%s': has the daemon run with -h?", "%s: нет кадров порта '%s': служба запущена с -h?"},
    {"%s: no port '%s'", "%s: нет порта '%s'"},
    {"%s: no port '%s' with a device '%s'", "%s: нет порта '%s' с устройством '%s'"},
    {"nobody takes the message to %s", "сообщение в %s никто не принимает"},
    {"the log has no such request: %s", "в журнале нет такого запроса: %s"},
    {"the log has no such value: %s = %s", "в журнале нет такого значения: %s = %s"},

    // replay
    {"serve the far end of a line by a scenario", "отвечать на линии по сценарию"},
    {"the scenario", "сценарий"},
    {"whose wire, where it has several", "чья линия, если их несколько"},
    {"make a pseudo-terminal under this path", "создать псевдотерминал по этому пути"},
    {"listen on this port of 127.0.0.1; 0 for a free one", "слушать порт 127.0.0.1; 0: любой свободный"},
    {"without the pauses of the scenario", "без пауз сценария"},
    {"  ostrandctl replay boiler.scn --tty /tmp/boiler\n"
     "serves until Ctrl-C; rs.path of the daemon's port is then /tmp/boiler.",
     "  ostrandctl replay boiler.scn --tty /tmp/boiler\n"
     "работает до Ctrl-C; rs.path порта службы тогда /tmp/boiler."},
    {"%s: which port? It has:%s", "%s: какой порт? Есть:%s"},
    {"where? Either --tty LINK or --tcp PORT", "где? Либо --tty ПУТЬ, либо --tcp ПОРТ"},
    {"no row for %s", "нет строки для %s"},

    // check, schema, topics

    // read, write

    // scan

    // watch

    // simulate
};
// clang-format on

}  // namespace phrases
