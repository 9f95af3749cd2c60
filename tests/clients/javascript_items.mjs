// Items, queries and batches, with the SDK for JavaScript and its library for documents.
import assert from "node:assert/strict";
import { CreateTableCommand, DynamoDBClient } from "@aws-sdk/client-dynamodb";
import {
    BatchGetCommand, BatchWriteCommand, DeleteCommand, DynamoDBDocumentClient, GetCommand, paginateQuery,
    paginateScan, PutCommand, UpdateCommand,
} from "@aws-sdk/lib-dynamodb";

const client = new DynamoDBClient({ endpoint: process.argv[2], maxAttempts: 1 });
const db = DynamoDBDocumentClient.from(client);
const TableName = "items";

await client.send(new CreateTableCommand({
    TableName,
    KeySchema: [{ AttributeName: "id", KeyType: "HASH" }, { AttributeName: "at", KeyType: "RANGE" }],
    AttributeDefinitions: [
        { AttributeName: "id", AttributeType: "S" }, { AttributeName: "at", AttributeType: "N" },
    ],
    BillingMode: "PAY_PER_REQUEST",
}));

// Every type.
const item = {
    id: "größer 😀", at: -1.5, text: "", yes: true, nothing: null, list: [1, "x", { deep: [] }], map: { "": 0.25 },
    bytes: new Uint8Array([0, 255]), texts: new Set(["a", "b"]), numbers: new Set([1, 2.5]),
};
const Key = { id: item.id, at: item.at };
await db.send(new PutCommand({ TableName, Item: item }));
assert.deepEqual((await db.send(new GetCommand({ TableName, Key }))).Item, item);

// Conditions, with the item in the exception.
await assert.rejects(db.send(new PutCommand({
    TableName, Item: Key, ConditionExpression: "attribute_not_exists(id)",
    ReturnValuesOnConditionCheckFailure: "ALL_OLD",
})), (error) => error.name === "ConditionalCheckFailedException" &&
    error.message === "The conditional request failed" && error.Item.at.N === "-1.5");
const updated = await db.send(new UpdateCommand({
    TableName, Key, UpdateExpression: "SET #l[0] = #l[0] + :n REMOVE #m, nothing DELETE texts :t",
    ExpressionAttributeNames: { "#l": "list", "#m": "map" },
    ExpressionAttributeValues: { ":n": 0.5, ":t": new Set(["a"]) }, ReturnValues: "ALL_NEW",
}));
assert.deepEqual(updated.Attributes.list, [1.5, "x", { deep: [] }]);
assert.deepEqual(updated.Attributes.texts, new Set(["b"]));
assert.ok(!("map" in updated.Attributes) && !("nothing" in updated.Attributes));
const deleted = await db.send(new DeleteCommand({ TableName, Key, ReturnValues: "ALL_OLD" }));
assert.deepEqual(deleted.Attributes, updated.Attributes);
assert.equal((await db.send(new GetCommand({ TableName, Key }))).Item, undefined);

// Batches, queries and scans.
const numbers = [...Array(20).keys()];
const written = await db.send(new BatchWriteCommand({
    RequestItems: { [TableName]: numbers.map((at) => ({ PutRequest: { Item: { id: "a", at, half: at / 2 } } })) },
}));
assert.deepEqual(written.UnprocessedItems, {});
const read = await db.send(new BatchGetCommand({
    RequestItems: { [TableName]: { Keys: [{ id: "a", at: 3 }, { id: "a", at: 99 }] } },
}));
assert.deepEqual(read.Responses[TableName], [{ id: "a", at: 3, half: 1.5 }]);
const found = [];
for await (const page of paginateQuery({ client: db, pageSize: 3 }, {
    TableName, KeyConditionExpression: "id = :a AND #at BETWEEN :from AND :to", ScanIndexForward: false,
    ExpressionAttributeNames: { "#at": "at" }, ExpressionAttributeValues: { ":a": "a", ":from": 2, ":to": 9 },
}))
    found.push(...page.Items.map((each) => each.at));
assert.deepEqual(found, [9, 8, 7, 6, 5, 4, 3, 2]);
let count = 0;
for await (const page of paginateScan({ client: db, pageSize: 4 }, {
    TableName, FilterExpression: "half >= :h", ExpressionAttributeValues: { ":h": 9 },
}))
    count += page.Count;
assert.equal(count, 2);
