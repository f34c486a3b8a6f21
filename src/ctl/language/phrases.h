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
    {"%s: names no usable port of a broker", "%s: нет пригодного порта брокера"},
    {"the broker's host; otherwise 127.0.0.1", "узел брокера; иначе 127.0.0.1"},
    {"its port; otherwise 1883", "его порт; иначе 1883"},
    {"take host and port from this configuration", "взять узел и порт из этой конфигурации"},
    {"show the values that come, as a table in the terminal", "показать поступающие значения таблицей в терминале"},
    {"only names (DEVICE/PARAMETER) that hold these words", "только имена (УСТРОЙСТВО/ПАРАМЕТР) с этими словами"},
    {"wait until the values have come, print them and end", "дождаться значений, вывести их и завершиться"},
    {"end after this time; with --once 10 otherwise", "завершиться через это время; с --once иначе 10"},
    {"  ostrandctl watch boiler\n"
     "shows every parameter with \"boiler\" in its name, its age and trend, and the polls that failed. In the table\n"
     "? lists the keys: w writes a value, / filters, q quits.\n"
     "  ostrandctl watch --once boiler > values.txt\n"
     "prints the same once, as it does wherever there is no terminal; the status is 1 if nothing fits or the\n"
     "broker can't be reached.",
     "  ostrandctl watch boiler\n"
     "показывает все параметры с \"boiler\" в имени, их возраст и тренд и неудачные опросы. В таблице ? выводит\n"
     "список клавиш: w записывает значение, / отбирает, q завершает.\n"
     "  ostrandctl watch --once boiler > values.txt\n"
     "выводит то же один раз, как и везде, где нет терминала; код 1, если ничего не подошло или брокер\n"
     "недоступен."},
    {"the broker refuses the subscription", "брокер отказал в подписке"},
    {"the host isn't known", "узел неизвестен"},
    {"the broker doesn't answer", "брокер не отвечает"},
    {"%s: connecting", "%s: соединение"},
    {"%s: no connection: %s", "%s: нет соединения: %s"},
    {"no values came", "значений не поступило"},
    {"no values came that fit '%s'", "не поступило значений, подходящих под '%s'"},
    {"the terminal can't be used; try --once", "терминал непригоден; попробуйте --once"},
    {"not sent, there is no connection: %s to %s", "не отправлено, нет соединения: %s в %s"},
    {"on its way to the broker: %s to %s", "отправляется брокеру: %s в %s"},
    {"the broker has it: %s to %s", "брокер принял: %s в %s"},
    {"the connection ended; not known whether it arrived: %s to %s", "соединение прервано; дошло ли, неизвестно: %s в %s"},
    {"%d of %d values", "значений %d из %d"},
    {"by name", "по имени"},
    {"by age", "по возрасту"},
    {"by errors", "по ошибкам"},
    {"faulty only", "только с ошибками"},
    {"more of them are left out", "остальные не показаны"},
    {"name", "имя"},
    {"value", "значение"},
    {"age", "возр."},
    {"trend", "тренд"},
    {"errors", "ошибки"},
    {"%lldh%02lld", "%lldч%02lld"},
    {"%lldd", "%lldд"},
    {"port", "порт"},
    {"polls", "опросы"},
    {"out of range", "вне диапазона"},
    {"last pass", "посл. проход"},
    {"failed device", "отказавшее устройство"},
    {"since", "давность"},
    {"failed:", "отказали:"},
    {"ports %d: polls %lld, errors %lld, out of range %lld", "портов %d: опросов %lld, ошибок %lld, вне диапазона %lld"},
    {"filter: %s_   Enter keeps it, Esc shows all", "отбор: %s_   Enter оставляет, Esc показывает всё"},
    {"value for %s: %s_   Esc: none", "значение для %s: %s_   Esc: отмена"},
    {"send '%s' to %s? y/n", "отправить '%s' в %s? д/н"},
    {"any key goes back", "любая клавиша возвращает"},
    {"q quit  / filter  w write  s sort  e faulty  Tab ports  ? help",
     "q выход  / отбор  w запись  s порядок  e ошибки  Tab порты  ? справка"},
    {"up, down, PgUp, PgDn, Home, End   move; also j, k, g, G\n"
     "/ and letters   only names that hold these words; Esc shows all again\n"
     "e   only what is faulty or stale\n"
     "s   sort by name, by age, by errors\n"
     "w or Enter   write a value to the selected parameter; it is asked for first\n"
     "Tab   ports and failed devices\n"
     "q   quit\n"
     " \n"
     "!   the last poll of it failed; no value has come since\n"
     "x   its device has failed: nothing of it answers\n"
     "~   stale: no value for much longer than usual, or none at all for a minute\n"
     ">   at least so old: it lay on the broker already\n"
     "errors   failed polls since this table was started",
     "вверх, вниз, PgUp, PgDn, Home, End   движение; также j, k, g, G\n"
     "/ и буквы   только имена с этими словами; Esc снова показывает всё\n"
     "e   только неисправные и устаревшие\n"
     "s   порядок по имени, по возрасту, по ошибкам\n"
     "w или Enter   записать значение в выбранный параметр; с подтверждением\n"
     "Tab   порты и отказавшие устройства\n"
     "q   выход\n"
     " \n"
     "!   последний опрос неудачен; значений с тех пор не было\n"
     "x   устройство отказало: ничего из него не отвечает\n"
     "~   устарело: значения нет намного дольше обычного или ни одного за минуту\n"
     ">   не моложе: уже лежало на брокере\n"
     "ошибки   неудачные опросы с начала показа"},

    // simulate
};
// clang-format on

}  // namespace phrases
