// Tables and tags, with the SDK for JavaScript.
import assert from "node:assert/strict";
import * as sdk from "@aws-sdk/client-dynamodb";

const client = new sdk.DynamoDBClient({ endpoint: process.argv[2], maxAttempts: 1 });
const TableName = "tables";

async function fails(name, message, command) {
    await assert.rejects(client.send(command), { name, message });
}

const created = (await client.send(new sdk.CreateTableCommand({
    TableName,
    KeySchema: [{ AttributeName: "id", KeyType: "HASH" }, { AttributeName: "at", KeyType: "RANGE" }],
    AttributeDefinitions: [
        { AttributeName: "id", AttributeType: "S" }, { AttributeName: "at", AttributeType: "N" },
    ],
    BillingMode: "PAY_PER_REQUEST",
    Tags: [{ Key: "team", Value: "blue" }],
}))).TableDescription;
assert.equal(created.TableStatus, "ACTIVE");
assert.ok(Math.abs(Date.now() - created.CreationDateTime.getTime()) < 300000);
const waited = await sdk.waitUntilTableExists({ client, maxWaitTime: 60 }, { TableName });
assert.equal(waited.state, "SUCCESS");
const described = (await client.send(new sdk.DescribeTableCommand({ TableName }))).Table;
assert.deepEqual(described.KeySchema, created.KeySchema);
assert.equal(described.ItemCount, 0);
assert.equal(described.DeletionProtectionEnabled, false);

const names = [];
for await (const page of sdk.paginateListTables({ client, pageSize: 1 }, {}))
    names.push(...page.TableNames);
assert.deepEqual(names, [TableName]);

// The address may come from the environment.
process.env.AWS_ENDPOINT_URL_DYNAMODB = process.argv[2];
const configured = new sdk.DynamoDBClient({ maxAttempts: 1 });
assert.deepEqual((await configured.send(new sdk.ListTablesCommand({}))).TableNames, [TableName]);

const ResourceArn = described.TableArn;
assert.equal(ResourceArn, "arn:aws:dynamodb:local:000000000000:table/tables");
await client.send(new sdk.TagResourceCommand({ ResourceArn, Tags: [{ Key: "cost", Value: "größer" }] }));
await client.send(new sdk.UntagResourceCommand({ ResourceArn, TagKeys: ["team"] }));
assert.deepEqual((await client.send(new sdk.ListTagsOfResourceCommand({ ResourceArn }))).Tags,
    [{ Key: "cost", Value: "größer" }]);
assert.equal((await client.send(new sdk.DescribeTableCommand({ TableName: ResourceArn }))).Table.TableName, TableName);

await client.send(new sdk.UpdateTableCommand({ TableName, DeletionProtectionEnabled: true }));
await fails("ValidationException", "Resource cannot be deleted as it is currently protected against deletion. " +
    "Disable deletion protection first.", new sdk.DeleteTableCommand({ TableName }));
await client.send(new sdk.UpdateTableCommand({ TableName, DeletionProtectionEnabled: false }));
assert.equal((await client.send(new sdk.DeleteTableCommand({ TableName }))).TableDescription.TableStatus, "DELETING");
await sdk.waitUntilTableNotExists({ client, maxWaitTime: 60 }, { TableName });
await fails("ResourceNotFoundException", "Requested resource not found: Table: tables not found",
    new sdk.DescribeTableCommand({ TableName }));

// Every operation of the SDK is served, or refused with a reason. These take no or any parameters.
await fails("UnknownOperationException", "ListBackups is not available: backups are made with quorvactl backup, " +
    "see backup.md", new sdk.ListBackupsCommand({}));
await fails("UnknownOperationException", "ListImports is not available: there is no object storage to read from or " +
    "write to; see quorvactl export and import", new sdk.ListImportsCommand({}));
