// The inputs of the operations on items. A test compares them with the model that comes with the API's clients.
#include "api/commonshapes.h"
#include "api/shapes.h"

namespace Api {

namespace {

using Shapes::Required;
using Shapes::Text;
using Kind = Shape::Kind;

constexpr Shape Binary{.kind = Kind::Blob};
constexpr Shape Texts{.kind = Kind::List, .element = &Text};
constexpr Shape Binaries{.kind = Kind::List, .element = &Binary};
constexpr Shape AttributeName{.maximum = 65535};
extern const Shape AttributeValue;
constexpr Shape Values{.kind = Kind::List, .element = &AttributeValue};
constexpr Shape Attributes{
    .kind = Kind::Map, .name = "AttributeValue", .element = &AttributeValue, .key = &AttributeName};
constexpr std::array AttributeValueMembers{Member{"S", &Text},
                                           Member{"N", &Text},
                                           Member{"B", &Binary},
                                           Member{"SS", &Texts},
                                           Member{"NS", &Texts},
                                           Member{"BS", &Binaries},
                                           Member{"M", &Attributes},
                                           Member{"L", &Values},
                                           Member{"NULL", &Shapes::Boolean},
                                           Member{"BOOL", &Shapes::Boolean}};
constexpr Shape AttributeValue{
    .kind = Kind::Structure, .name = "AttributeValue", .members = AttributeValueMembers, .hasNoLimits = true};
constexpr Shape ValuesByVariable{.kind = Kind::Map, .name = "AttributeValue", .element = &AttributeValue, .key = &Text};
constexpr Shape NamesByVariable{.kind = Kind::Map, .name = "String", .element = &AttributeName, .key = &Text};
constexpr Shape AttributeNames{.kind = Kind::List, .element = &AttributeName, .minimum = 1};

constexpr std::array<std::string_view, 13> Comparisons{
    "IN", "NULL", "BETWEEN", "LT", "NOT_CONTAINS", "EQ", "GT", "NOT_NULL", "NE", "LE", "BEGINS_WITH", "GE", "CONTAINS"};
constexpr Shape Comparison{.values = Comparisons};
constexpr std::array<std::string_view, 2> ConditionalOperators{"OR", "AND"};
constexpr Shape ConditionalOperator{.values = ConditionalOperators};
constexpr std::array ExpectedValueMembers{Member{"Value", &AttributeValue}, Member{"Exists", &Shapes::Boolean},
                                          Member{"ComparisonOperator", &Comparison},
                                          Member{"AttributeValueList", &Values}};
constexpr Shape ExpectedValue{
    .kind = Kind::Structure, .name = "ExpectedAttributeValue", .members = ExpectedValueMembers};
constexpr Shape Expected{
    .kind = Kind::Map, .name = "ExpectedAttributeValue", .element = &ExpectedValue, .key = &AttributeName};
constexpr std::array ConditionMembers{Member{"AttributeValueList", &Values},
                                      Member{"ComparisonOperator", &Comparison, Required}};
constexpr Shape Condition{.kind = Kind::Structure, .name = "Condition", .members = ConditionMembers};
constexpr Shape Conditions{.kind = Kind::Map, .name = "Condition", .element = &Condition, .key = &AttributeName};
constexpr std::array<std::string_view, 3> Actions{"ADD", "PUT", "DELETE"};
constexpr Shape Action{.values = Actions};
constexpr std::array ValueUpdateMembers{Member{"Value", &AttributeValue}, Member{"Action", &Action}};
constexpr Shape ValueUpdate{.kind = Kind::Structure, .name = "AttributeValueUpdate", .members = ValueUpdateMembers};
constexpr Shape ValueUpdates{
    .kind = Kind::Map, .name = "AttributeValueUpdate", .element = &ValueUpdate, .key = &AttributeName};

constexpr std::array<std::string_view, 5> ReturnedValues{"ALL_NEW", "UPDATED_OLD", "ALL_OLD", "NONE", "UPDATED_NEW"};
constexpr Shape ReturnValuesShape{.values = ReturnedValues};
constexpr std::array<std::string_view, 2> ReturnedOnFailure{"ALL_OLD", "NONE"};
constexpr Shape ReturnOnFailure{.values = ReturnedOnFailure};
constexpr std::array<std::string_view, 3> ReturnedCapacity{"INDEXES", "TOTAL", "NONE"};
constexpr Shape ReturnCapacity{.values = ReturnedCapacity};
constexpr std::array<std::string_view, 2> ReturnedMetrics{"SIZE", "NONE"};
constexpr Shape ReturnMetrics{.values = ReturnedMetrics};
constexpr std::array<std::string_view, 4> Selections{"SPECIFIC_ATTRIBUTES", "COUNT", "ALL_ATTRIBUTES",
                                                     "ALL_PROJECTED_ATTRIBUTES"};
constexpr Shape Select{.values = Selections};

constexpr Shape Keys{.kind = Kind::List, .element = &Attributes, .minimum = 1, .maximum = 100};
constexpr std::array KeysAndAttributesMembers{
    Member{"Keys", &Keys, Required}, Member{"AttributesToGet", &AttributeNames},
    Member{"ConsistentRead", &Shapes::Boolean}, Member{"ProjectionExpression", &Text},
    Member{"ExpressionAttributeNames", &NamesByVariable}};
constexpr Shape KeysAndAttributes{
    .kind = Kind::Structure, .name = "KeysAndAttributes", .members = KeysAndAttributesMembers};
constexpr Shape GetRequests{.kind = Kind::Map,
                            .name = "KeysAndAttributes",
                            .element = &KeysAndAttributes,
                            .key = &Shapes::TableName,
                            .minimum = 1,
                            .maximum = 100};
constexpr std::array PutRequestMembers{Member{"Item", &Attributes, Required}};
constexpr Shape PutRequest{.kind = Kind::Structure, .name = "PutRequest", .members = PutRequestMembers};
constexpr std::array DeleteRequestMembers{Member{"Key", &Attributes, Required}};
constexpr Shape DeleteRequest{.kind = Kind::Structure, .name = "DeleteRequest", .members = DeleteRequestMembers};
constexpr std::array WriteRequestMembers{Member{"PutRequest", &PutRequest}, Member{"DeleteRequest", &DeleteRequest}};
constexpr Shape WriteRequest{.kind = Kind::Structure, .name = "WriteRequest", .members = WriteRequestMembers};
constexpr Shape TableWrites{.kind = Kind::List, .element = &WriteRequest, .minimum = 1, .maximum = 25};
constexpr Shape WriteRequests{.kind = Kind::Map,
                              .name = "java.util.List<com.amazonaws.dynamodb.v20120810.WriteRequest>",
                              .element = &TableWrites,
                              .key = &Shapes::TableName,
                              .minimum = 1,
                              .maximum = 25};
constexpr Shape Segments{.kind = Kind::Integer, .minimum = 1, .maximum = 1000000};
constexpr Shape Segment{.kind = Kind::Integer, .minimum = 0, .maximum = 999999};

constexpr std::array BatchGetItemMembers{Member{"RequestItems", &GetRequests, Required},
                                         Member{"ReturnConsumedCapacity", &ReturnCapacity}};
constexpr std::array BatchWriteItemMembers{Member{"RequestItems", &WriteRequests, Required},
                                           Member{"ReturnConsumedCapacity", &ReturnCapacity},
                                           Member{"ReturnItemCollectionMetrics", &ReturnMetrics}};
constexpr std::array DeleteItemMembers{
    Member{"TableName", &Shapes::TableName, Required},
    Member{"Key", &Attributes, Required},
    Member{"Expected", &Expected},
    Member{"ConditionalOperator", &ConditionalOperator},
    Member{"ReturnValues", &ReturnValuesShape},
    Member{"ReturnConsumedCapacity", &ReturnCapacity},
    Member{"ReturnItemCollectionMetrics", &ReturnMetrics},
    Member{"ConditionExpression", &Text},
    Member{"ExpressionAttributeNames", &NamesByVariable},
    Member{"ExpressionAttributeValues", &ValuesByVariable},
    Member{"ReturnValuesOnConditionCheckFailure", &ReturnOnFailure},
};
constexpr std::array GetItemMembers{
    Member{"TableName", &Shapes::TableName, Required},    Member{"Key", &Attributes, Required},
    Member{"AttributesToGet", &AttributeNames},           Member{"ConsistentRead", &Shapes::Boolean},
    Member{"ReturnConsumedCapacity", &ReturnCapacity},    Member{"ProjectionExpression", &Text},
    Member{"ExpressionAttributeNames", &NamesByVariable},
};
constexpr std::array PutItemMembers{
    Member{"TableName", &Shapes::TableName, Required},
    Member{"Item", &Attributes, Required},
    Member{"Expected", &Expected},
    Member{"ReturnValues", &ReturnValuesShape},
    Member{"ReturnConsumedCapacity", &ReturnCapacity},
    Member{"ReturnItemCollectionMetrics", &ReturnMetrics},
    Member{"ConditionalOperator", &ConditionalOperator},
    Member{"ConditionExpression", &Text},
    Member{"ExpressionAttributeNames", &NamesByVariable},
    Member{"ExpressionAttributeValues", &ValuesByVariable},
    Member{"ReturnValuesOnConditionCheckFailure", &ReturnOnFailure},
};
constexpr std::array QueryMembers{
    Member{"TableName", &Shapes::TableName, Required},
    Member{"IndexName", &Shapes::IndexName},
    Member{"Select", &Select},
    Member{"AttributesToGet", &AttributeNames},
    Member{"Limit", &Shapes::PositiveInteger},
    Member{"ConsistentRead", &Shapes::Boolean},
    Member{"KeyConditions", &Conditions},
    Member{"QueryFilter", &Conditions},
    Member{"ConditionalOperator", &ConditionalOperator},
    Member{"ScanIndexForward", &Shapes::Boolean},
    Member{"ExclusiveStartKey", &Attributes},
    Member{"ReturnConsumedCapacity", &ReturnCapacity},
    Member{"ProjectionExpression", &Text},
    Member{"FilterExpression", &Text},
    Member{"KeyConditionExpression", &Text},
    Member{"ExpressionAttributeNames", &NamesByVariable},
    Member{"ExpressionAttributeValues", &ValuesByVariable},
};
constexpr std::array ScanMembers{
    Member{"TableName", &Shapes::TableName, Required},
    Member{"IndexName", &Shapes::IndexName},
    Member{"AttributesToGet", &AttributeNames},
    Member{"Limit", &Shapes::PositiveInteger},
    Member{"Select", &Select},
    Member{"ScanFilter", &Conditions},
    Member{"ConditionalOperator", &ConditionalOperator},
    Member{"ExclusiveStartKey", &Attributes},
    Member{"ReturnConsumedCapacity", &ReturnCapacity},
    Member{"TotalSegments", &Segments},
    Member{"Segment", &Segment},
    Member{"ProjectionExpression", &Text},
    Member{"FilterExpression", &Text},
    Member{"ExpressionAttributeNames", &NamesByVariable},
    Member{"ExpressionAttributeValues", &ValuesByVariable},
    Member{"ConsistentRead", &Shapes::Boolean},
};
constexpr std::array UpdateItemMembers{
    Member{"TableName", &Shapes::TableName, Required},
    Member{"Key", &Attributes, Required},
    Member{"AttributeUpdates", &ValueUpdates},
    Member{"Expected", &Expected},
    Member{"ConditionalOperator", &ConditionalOperator},
    Member{"ReturnValues", &ReturnValuesShape},
    Member{"ReturnConsumedCapacity", &ReturnCapacity},
    Member{"ReturnItemCollectionMetrics", &ReturnMetrics},
    Member{"UpdateExpression", &Text},
    Member{"ConditionExpression", &Text},
    Member{"ExpressionAttributeNames", &NamesByVariable},
    Member{"ExpressionAttributeValues", &ValuesByVariable},
    Member{"ReturnValuesOnConditionCheckFailure", &ReturnOnFailure},
};

} // namespace

constexpr Shape Inputs::BatchGetItem{
    .kind = Kind::Structure, .name = "BatchGetItemInput", .members = BatchGetItemMembers};
constexpr Shape Inputs::BatchWriteItem{
    .kind = Kind::Structure, .name = "BatchWriteItemInput", .members = BatchWriteItemMembers};
constexpr Shape Inputs::DeleteItem{.kind = Kind::Structure, .name = "DeleteItemInput", .members = DeleteItemMembers};
constexpr Shape Inputs::GetItem{.kind = Kind::Structure, .name = "GetItemInput", .members = GetItemMembers};
constexpr Shape Inputs::PutItem{.kind = Kind::Structure, .name = "PutItemInput", .members = PutItemMembers};
constexpr Shape Inputs::Query{.kind = Kind::Structure, .name = "QueryInput", .members = QueryMembers};
constexpr Shape Inputs::Scan{.kind = Kind::Structure, .name = "ScanInput", .members = ScanMembers};
constexpr Shape Inputs::UpdateItem{.kind = Kind::Structure, .name = "UpdateItemInput", .members = UpdateItemMembers};

} // namespace Api
