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

<h2>Лента изменений</h2>
<p>Чтобы узнавать об изменениях сразу, а не опрашивать списки, откройте WebSocket
<code>@WSBASE@/api/events</code> с заголовком <code>Authorization: Bearer ТОКЕН</code> — тем же токеном сессии,
что и в остальных запросах. Сервер пришлёт по одному JSON-сообщению на каждое изменение ваших задач, папок,
настроек и вложений, кто бы его ни сделал: другой клиент, внешний API, бот или командная строка сервера.
Изменения других пользователей не приходят.</p>
<pre>{"type":"hello","rev":41}
{"type":"change","kind":"task","op":"created","id":7,"rev":42}
{"type":"change","kind":"attachment","op":"created","id":3,"task_id":7,"rev":43}</pre>
<table>
<tr><th>Поле</th><th>Значение</th></tr>
<tr><td><code>type</code></td><td><code>hello</code> — первое сообщение, <code>change</code> — изменение</td></tr>
<tr><td><code>rev</code></td><td>ревизия: в <code>hello</code> — последняя ревизия пользователя (<code>0</code>, если изменений
ещё не было), дальше строго растёт</td></tr>
<tr><td><code>kind</code></td><td><code>task</code>, <code>folder</code>, <code>settings</code> или <code>attachment</code></td></tr>
<tr><td><code>op</code></td><td><code>created</code>, <code>updated</code> или <code>deleted</code></td></tr>
<tr><td><code>id</code></td><td>номер задачи, папки или вложения; для <code>settings</code> — номер пользователя</td></tr>
<tr><td><code>task_id</code></td><td>только у вложений: задача, к которой оно относится</td></tr>
</table>
<p>Архивирование, отправка в Telegram и смена статуса — <code>task</code>/<code>updated</code>. Удаление папки —
<code>folder</code>/<code>deleted</code> и затем <code>task</code>/<code>updated</code> для каждой задачи, которая в ней
лежала. Удаление задачи — одно сообщение <code>task</code>/<code>deleted</code>: её вложения удаляются вместе с ней.</p>
<p>После 25 секунд тишины сервер шлёт ping и закрывает соединение, если ответа нет ещё 25 секунд.
Коды закрытия:</p>
<table>
<tr><th>Код</th><th>Причина</th></tr>
<tr><td><code>4401</code></td><td>нет токена или сессия недействительна (соединение сначала устанавливается, затем
закрывается)</td></tr>
<tr><td><code>4408</code></td><td>клиент не успевает: непрочитанных сообщений больше 256 КБ или нет ответа на ping</td></tr>
<tr><td><code>1001</code></td><td>сервер остановлен</td></tr>
</table>
<p>После любого закрытия подключитесь снова и загрузите списки заново. Обычный <code>GET</code> без
<code>Upgrade: websocket</code> получает <code>400</code>.</p>

<h2>Условные запросы</h2>
<p><code>GET /api/tasks</code> (с любыми параметрами) и <code>GET /api/folders</code> отдают заголовок
<code>ETag</code>. Повторите запрос с <code>If-None-Match</code> и этим значением: если список с тех пор не
изменился, ответ — <code>304</code> без тела, так что частый опрос почти ничего не стоит. Понимаются и список
значений через запятую, и <code>*</code>, и слабая форма <code>W/"…"</code>.</p>
<pre>curl -i "@BASE@/api/tasks?archived=false" \
  -H "Authorization: Bearer ТОКЕН" \
  -H 'If-None-Match: "значение ETag из прошлого ответа"'</pre>
</body>
</html>
)"_s;
    QString socketBase = escapedBase;
    if (socketBase.startsWith(u"http"_s))
        socketBase.replace(0, 4, u"ws"_s);
    page.replace(u"@WSBASE@"_s, socketBase);
    page.replace(u"@BASE@"_s, escapedBase);
    return page.toUtf8();
}
