-- The questions of questions.sql for ClickHouse and DuckDB, which both understand
-- every line: the column time is a point in time there.

-- Which signs have shown a wrong price for an hour?
WITH good AS (SELECT site, key, max(time) AS last FROM status
              WHERE field = 'price_sync_status_packet' AND status_name = 'price_update_ok'
              GROUP BY site, key)
SELECT status.site, status.key AS display, min(status.time) AS since
FROM status LEFT JOIN good ON good.site = status.site AND good.key = status.key
WHERE status.field = 'price_sync_status_packet' AND status.key NOT LIKE 'prices-%'
  AND status.status_name <> 'price_update_ok'
  AND (good.last IS NULL OR status.time > good.last)
GROUP BY status.site, status.key
HAVING since < (SELECT max(time) - INTERVAL 1 HOUR FROM record)
ORDER BY since;

-- Which radios lose contact at night?
-- The 0 stands for the hours by which the clocks of the sites are ahead of UTC.
WITH radio AS (SELECT site, uuid, argMax(name, time) AS name FROM node
               WHERE kind = 'client' GROUP BY site, uuid)
SELECT status.site, max(radio.name) AS name, count(*) AS failures,
       sum(CASE WHEN (hour(status.time) + 24 + 0) % 24 BETWEEN 5 AND 21
           THEN 0 ELSE 1 END) AS at_night
FROM status JOIN radio ON radio.site = status.site AND radio.uuid = status.key
WHERE status.field = 'status_packet' AND status.status_name = 'comm_error'
GROUP BY status.site, status.key
HAVING failures >= 3 AND at_night > failures / 2
ORDER BY at_night DESC, failures, status.site;

-- Which sites have said nothing for an hour?
SELECT site, max(time) AS last FROM record
GROUP BY site
HAVING last < (SELECT max(time) - INTERVAL 1 HOUR FROM record)
ORDER BY last;

-- How many modules of each firmware are out of order now?
WITH module AS (SELECT site, uuid, argMax(hw_id, time) AS hw_id,
                       argMax(fw_rev, time) AS fw_rev
                FROM node WHERE kind = 'module' GROUP BY site, uuid),
     now AS (SELECT site, key, argMax(status_name, time) AS status_name FROM status
             WHERE field = 'status_packet' GROUP BY site, key)
SELECT hw_id, fw_rev, count(*) AS modules,
       sum(CASE WHEN status_name <> 'ok' THEN 1 ELSE 0 END) AS out_of_order
FROM module JOIN now ON now.site = module.site AND now.key = module.uuid
GROUP BY hw_id, fw_rev ORDER BY hw_id, fw_rev;

-- What do the sites charge for a product?
WITH now AS (SELECT site, id, argMax(price, time) AS price FROM product
             WHERE enabled = 1 GROUP BY site, id),
     amount AS (SELECT id, CASE WHEN regexp_matches(price, '^[0-9]+([.][0-9]+)?$')
                                 AND length(price) < 16
                           THEN CAST(price AS DOUBLE) END AS price FROM now)
SELECT id, count(*) AS sites, min(price) AS lowest, max(price) AS highest
FROM amount GROUP BY id ORDER BY id;
