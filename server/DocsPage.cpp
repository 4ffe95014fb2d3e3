#include "DocsPage.h"

using namespace Qt::StringLiterals;

QByteArray docsPage(const QString& base) {
    const QString escapedBase = base.toHtmlEscaped();
    QString page = uR"(<!DOCTYPE html>
<html lang="ru">
<head>
<meta charset="utf-8">
<title>Vexo Tasks — API</title>
<style>
body { font-family: system-ui, sans-serif; max-width: 46em; margin: 3em auto; padding: 0 1em; background: #1a1816; color: #ede9e3; line-height: 1.5; }
h1, h2 { color: #E97553; }
code, pre { font-family: ui-monospace, monospace; background: #24211f; border-radius: 6px; }
pre { padding: 1em; overflow-x: auto; }
code { padding: 0.1em 0.3em; }
td, th { text-align: left; padding: 0.3em 1em 0.3em 0; vertical-align: top; }
</style>
</head>
<body>
<h1>Vexo Tasks API</h1>
<p>Создавайте задачи из своих скриптов и сервисов. Ключ API показан в приложении: «API ключ» в боковой панели.</p>
<h2>Создать задачу</h2>
<p><code>POST @BASE@/api/external/tasks</code> с заголовком <code>x-api-key</code> и JSON-телом.</p>
<pre>curl -X POST @BASE@/api/external/tasks \
  -H "Content-Type: application/json" \
  -H "x-api-key: ВАШ_КЛЮЧ" \
  -d '{"title": "Купить молоко", "priority": "high"}'</pre>
<table>
<tr><th>Поле</th><th>Тип</th><th>Описание</th></tr>
<tr><td><code>title</code></td><td>строка, обязательно</td><td>название задачи</td></tr>
<tr><td><code>priority</code></td><td>строка</td><td><code>high</code>, <code>medium</code> (по умолчанию) или <code>low</code></td></tr>
<tr><td><code>description</code></td><td>строка</td><td>описание, можно с HTML</td></tr>
<tr><td><code>deadline</code></td><td>строка</td><td>ISO 8601, например <code>2025-03-05T18:00:00Z</code>, или <code>2025-03-05 18:00:00</code> (UTC)</td></tr>
</table>
<h2>Ответ</h2>
<p><code>201</code> и <code>{"task": {...}}</code> — созданная задача. При ошибке — <code>{"error": "текст"}</code>:
<code>400</code> неверные данные, <code>401</code> неверный ключ.</p>
</body>
</html>
)"_s;
    page.replace(u"@BASE@"_s, escapedBase);
    return page.toUtf8();
}
