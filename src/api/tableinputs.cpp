// The inputs of the operations on tables. A test compares them with the model that comes with the API's clients.
#include "api/commonshapes.h"
#include "api/shapes.h"

namespace Api {

namespace {

using Shapes::Required;
using Kind = Shape::Kind;

constexpr Shape KeyName{.minimum = 1, .maximum = 255};

constexpr std::array<std::string_view, 3> KeyTypes{"B", "N", "S"};
constexpr Shape KeyType{.values = KeyTypes};
constexpr std::array AttributeDefinitionMembers{Member{"AttributeName", &KeyName, Required},
                                                Member{"AttributeType", &KeyType, Required}};
constexpr Shape AttributeDefinition{
    .kind = Kind::Structure, .name = "AttributeDefinition", .members = AttributeDefinitionMembers};
constexpr Shape AttributeDefinitions{.kind = Kind::List, .element = &AttributeDefinition};

constexpr std::array<std::string_view, 2> KeyRoles{"HASH", "RANGE"};
constexpr Shape KeyRole{.values = KeyRoles};
constexpr std::array KeySchemaElementMembers{Member{"AttributeName", &KeyName, Required},
                                             Member{"KeyType", &KeyRole, Required}};
constexpr Shape KeySchemaElement{
    .kind = Kind::Structure, .name = "KeySchemaElement", .members = KeySchemaElementMembers};
constexpr Shape KeySchema{.kind = Kind::List, .element = &KeySchemaElement, .minimum = 1, .maximum = 2};

constexpr std::array ThroughputMembers{Member{"ReadCapacityUnits", &Shapes::PositiveLong, Required},
                                       Member{"WriteCapacityUnits", &Shapes::PositiveLong, Required}};
constexpr Shape Throughput{.kind = Kind::Structure, .name = "ProvisionedThroughput", .members = ThroughputMembers};

constexpr std::array<std::string_view, 2> BillingModes{"PROVISIONED", "PAY_PER_REQUEST"};
constexpr Shape BillingMode{.values = BillingModes};

constexpr std::array<std::string_view, 2> TableClasses{"STANDARD", "STANDARD_INFREQUENT_ACCESS"};
constexpr Shape TableClass{.values = TableClasses};

// Secondary indexes.
constexpr std::array<std::string_view, 3> ProjectionTypes{"ALL", "KEYS_ONLY", "INCLUDE"};
constexpr Shape ProjectionType{.values = ProjectionTypes};
constexpr Shape OtherAttributes{.kind = Kind::List, .element = &KeyName, .minimum = 1, .maximum = 20};
constexpr std::array ProjectionMembers{Member{"ProjectionType", &ProjectionType},
                                       Member{"NonKeyAttributes", &OtherAttributes}};
constexpr Shape Projection{.kind = Kind::Structure, .name = "Projection", .members = ProjectionMembers};
constexpr std::array LocalIndexMembers{Member{"IndexName", &Shapes::IndexName, Required},
                                       Member{"KeySchema", &KeySchema, Required},
                                       Member{"Projection", &Projection, Required}};
constexpr Shape LocalIndex{.kind = Kind::Structure, .name = "LocalSecondaryIndex", .members = LocalIndexMembers};
constexpr Shape LocalIndexes{.kind = Kind::List, .element = &LocalIndex};
constexpr std::array GlobalIndexMembers{
    Member{"IndexName", &Shapes::IndexName, Required}, Member{"KeySchema", &KeySchema, Required},
    Member{"Projection", &Projection, Required}, Member{"ProvisionedThroughput", &Throughput}};
constexpr Shape GlobalIndex{.kind = Kind::Structure, .name = "GlobalSecondaryIndex", .members = GlobalIndexMembers};
constexpr Shape GlobalIndexes{.kind = Kind::List, .element = &GlobalIndex};
constexpr Shape IndexCreation{
    .kind = Kind::Structure, .name = "CreateGlobalSecondaryIndexAction", .members = GlobalIndexMembers};
constexpr std::array IndexUpdateMembers{Member{"IndexName", &Shapes::IndexName, Required},
                                        Member{"ProvisionedThroughput", &Throughput, Required}};
constexpr Shape IndexUpdate{
    .kind = Kind::Structure, .name = "UpdateGlobalSecondaryIndexAction", .members = IndexUpdateMembers};
constexpr std::array IndexDeletionMembers{Member{"IndexName", &Shapes::IndexName, Required}};
constexpr Shape IndexDeletion{
    .kind = Kind::Structure, .name = "DeleteGlobalSecondaryIndexAction", .members = IndexDeletionMembers};
constexpr std::array IndexChangeMembers{Member{"Update", &IndexUpdate}, Member{"Create", &IndexCreation},
                                        Member{"Delete", &IndexDeletion}};
constexpr Shape IndexChange{
    .kind = Kind::Structure, .name = "GlobalSecondaryIndexUpdate", .members = IndexChangeMembers};
constexpr Shape IndexChanges{.kind = Kind::List, .element = &IndexChange};

constexpr std::array<std::string_view, 4> StreamViews{"NEW_IMAGE", "OLD_IMAGE", "NEW_AND_OLD_IMAGES", "KEYS_ONLY"};
constexpr Shape StreamView{.values = StreamViews};
constexpr std::array StreamMembers{Member{"StreamEnabled", &Shapes::Boolean, Required},
                                   Member{"StreamViewType", &StreamView}};
constexpr Shape Stream{.kind = Kind::Structure, .name = "StreamSpecification", .members = StreamMembers};

constexpr std::array<std::string_view, 2> EncryptionTypes{"AES256", "KMS"};
constexpr Shape EncryptionType{.values = EncryptionTypes};
constexpr std::array EncryptionMembers{Member{"Enabled", &Shapes::Boolean}, Member{"SSEType", &EncryptionType},
                                       Member{"KMSMasterKeyId", &Shapes::Text}};
constexpr Shape Encryption{.kind = Kind::Structure, .name = "SSESpecification", .members = EncryptionMembers};

// Replicas are refused whatever they are, so their shapes end here.
constexpr Shape Replica{.kind = Kind::Structure, .name = "ReplicationGroupUpdate"};
constexpr Shape Replicas{.kind = Kind::List, .element = &Replica, .minimum = 1};

constexpr Shape TagKey{.minimum = 1, .maximum = 128};
constexpr Shape TagValue{.minimum = 0, .maximum = 256};
constexpr std::array TagMembers{Member{"Key", &TagKey, Required}, Member{"Value", &TagValue, Required}};
constexpr Shape Tag{.kind = Kind::Structure, .name = "Tag", .members = TagMembers};
constexpr Shape Tags{.kind = Kind::List, .element = &Tag};
constexpr Shape TagKeys{.kind = Kind::List, .element = &TagKey};
constexpr Shape ResourceArn{.minimum = 1, .maximum = 1283};

constexpr Shape TableLimit{.kind = Kind::Integer, .minimum = 1, .maximum = 100};

constexpr std::array CreateTableMembers{
    Member{"AttributeDefinitions", &AttributeDefinitions, Required},
    Member{"TableName", &Shapes::TableName, Required},
    Member{"KeySchema", &KeySchema, Required},
    Member{"LocalSecondaryIndexes", &LocalIndexes},
    Member{"GlobalSecondaryIndexes", &GlobalIndexes},
    Member{"BillingMode", &BillingMode},
    Member{"ProvisionedThroughput", &Throughput},
    Member{"StreamSpecification", &Stream},
    Member{"SSESpecification", &Encryption},
    Member{"Tags", &Tags},
    Member{"TableClass", &TableClass},
    Member{"DeletionProtectionEnabled", &Shapes::Boolean},
    Member{"ResourcePolicy", &Shapes::Text},
};
constexpr std::array UpdateTableMembers{
    Member{"AttributeDefinitions", &AttributeDefinitions},
    Member{"TableName", &Shapes::TableName, Required},
    Member{"BillingMode", &BillingMode},
    Member{"ProvisionedThroughput", &Throughput},
    Member{"GlobalSecondaryIndexUpdates", &IndexChanges},
    Member{"StreamSpecification", &Stream},
    Member{"SSESpecification", &Encryption},
    Member{"ReplicaUpdates", &Replicas},
    Member{"TableClass", &TableClass},
    Member{"DeletionProtectionEnabled", &Shapes::Boolean},
};
constexpr std::array TableMembers{Member{"TableName", &Shapes::TableName, Required}};
constexpr std::array ListTablesMembers{Member{"ExclusiveStartTableName", &Shapes::TableName},
                                       Member{"Limit", &TableLimit}};
constexpr std::array ListTagsMembers{Member{"ResourceArn", &ResourceArn, Required}, Member{"NextToken", &Shapes::Text}};
constexpr std::array TagResourceMembers{Member{"ResourceArn", &ResourceArn, Required}, Member{"Tags", &Tags, Required}};
constexpr std::array UntagResourceMembers{Member{"ResourceArn", &ResourceArn, Required},
                                          Member{"TagKeys", &TagKeys, Required}};

} // namespace

constexpr Shape Inputs::CreateTable{.kind = Kind::Structure, .name = "CreateTableInput", .members = CreateTableMembers};
constexpr Shape Inputs::DeleteTable{.kind = Kind::Structure, .name = "DeleteTableInput", .members = TableMembers};
constexpr Shape Inputs::DescribeContinuousBackups{
    .kind = Kind::Structure, .name = "DescribeContinuousBackupsInput", .members = TableMembers};
constexpr Shape Inputs::DescribeEndpoints{.kind = Kind::Structure, .name = "DescribeEndpointsRequest"};
constexpr Shape Inputs::DescribeLimits{.kind = Kind::Structure, .name = "DescribeLimitsInput"};
constexpr Shape Inputs::DescribeTable{.kind = Kind::Structure, .name = "DescribeTableInput", .members = TableMembers};
constexpr Shape Inputs::DescribeTimeToLive{
    .kind = Kind::Structure, .name = "DescribeTimeToLiveInput", .members = TableMembers};
constexpr Shape Inputs::ListTables{.kind = Kind::Structure, .name = "ListTablesInput", .members = ListTablesMembers};
constexpr Shape Inputs::ListTagsOfResource{
    .kind = Kind::Structure, .name = "ListTagsOfResourceInput", .members = ListTagsMembers};
constexpr Shape Inputs::TagResource{.kind = Kind::Structure, .name = "TagResourceInput", .members = TagResourceMembers};
constexpr Shape Inputs::UntagResource{
    .kind = Kind::Structure, .name = "UntagResourceInput", .members = UntagResourceMembers};
constexpr Shape Inputs::UpdateTable{.kind = Kind::Structure, .name = "UpdateTableInput", .members = UpdateTableMembers};

} // namespace Api
